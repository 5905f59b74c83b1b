// Measures the cost of the archive tool's sandbox, and of refusing hostile archives.
//
// usage: bench_sandbox ARCHIVE DITTO UNSANDBOXED WORK
//   Unpacks ARCHIVE with DITTO and with UNSANDBOXED, the same program without the sandbox. Empties
//   WORK.

#include "Corpus.h"
#include "Measure.h"
#include "RawZip.h"
#include "Surroundings.h"
#include "files/Files.h"

#include <stdexcept>
#include <string>
#include <sys/resource.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

struct Tools
{
    QString ditto;
    QString unsandboxed;
};

void measureCost(const char *what, const QString &archive, const Tools &tools, const QString &work)
{
    const QString place = work + u"/unpacked"_s;
    const auto prepare = [&] {
        Files::remove(place);
        Files::createFolder(place);
    };
    const auto with = [&](const QString &tool) {
        return [&, tool] { Measure::run(tool, {u"-x"_s, u"-k"_s, archive, place}); };
    };
    Measure::printRatio(what, Measure::compare(prepare, with(tools.ditto), with(tools.unsandboxed)),
                        1.10);
}

/// Returns an archive with as many files as a game's repository, so that opening files costs most.
QByteArray manySmallFiles()
{
    const QByteArray text = QByteArray("extends Node\n").repeated(300);
    RawZip zip;
    for (int i = 0; i < 5000; ++i) {
        zip.add({'d' + QByteArray::number(i % 200) + "/f" + QByteArray::number(i), text,
                 RawZip::file644, true});
    }
    return zip.bytes();
}

/// Returns the processor time of all ended child programs in seconds.
double processorTime()
{
    struct rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

void measureRefusals(const QString &ditto)
{
    double slowest = 0;
    const auto count = (Corpus::hostile(Surroundings()) + Corpus::costly()).size();
    for (qsizetype i = 0; i < count; ++i) {
        const Surroundings around;
        const CorpusCase one = (Corpus::hostile(around) + Corpus::costly()).at(i);
        around.putArchive(one.archive());
        const double before = processorTime();
        if (around.unpack(ditto).code != 1) {
            throw std::runtime_error(std::string("not refused: ") + one.name);
        }
        slowest = std::max(slowest, processorTime() - before);
    }
    Measure::printLimit("slowest refusal, processor time", slowest * 1000, "ms", 1000);
}

void measure(const QStringList &arguments)
{
    const Tools tools{arguments.at(1), arguments.at(2)};
    const QString &work = arguments.at(3);
    Files::remove(work);
    Files::createFolder(work);
    measureCost("ditto / without sandbox, engine", arguments.at(0), tools, work);
    const QString small = work + u"/small.zip"_s;
    Files::writeAtomically(small, manySmallFiles());
    measureCost("ditto / without sandbox, 5,000 small files", small, tools, work);
    measureRefusals(tools.ditto);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_sandbox ARCHIVE DITTO UNSANDBOXED WORK", measure);
}
