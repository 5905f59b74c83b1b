// What the engine prints: cut into lines, cleaned of colours, kept in the log.

#include "Expect.h"
#include "Fuzzer.h"
#include "base/Text.h"
#include "log/LogStore.h"
#include "process/LineSplitter.h"

#include <QRegularExpression>

#include <algorithm>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QStringList split(QByteArrayView bytes, qsizetype limit, qsizetype chunk)
{
    QStringList lines;
    const auto take = [&lines](QString line) { lines << std::move(line); };
    LineSplitter splitter(limit);
    for (; !bytes.isEmpty(); bytes = bytes.sliced(std::min(chunk, bytes.size()))) {
        splitter.feed(bytes.first(std::min(chunk, bytes.size())), take);
    }
    splitter.flush(take);
    return lines;
}

/// The plain way, which is too slow for what an engine can print.
QString cleanedByExpression(QString text)
{
    static const QRegularExpression colour(u"\x1b\\[[0-9;]*[A-Za-z]"_s);
    return Text::withoutNewlines(text.remove(colour)).toString();
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr size_t head = 2; // how the rest is read
    if (size < head) {
        return 0;
    }
    const qsizetype limit = 4 + data[0];
    const qsizetype chunk = 1 + data[1];
    const QByteArrayView bytes(data + head, static_cast<qsizetype>(size - head));

    const QStringList lines = split(bytes, limit, chunk);
    expect(lines == split(bytes, limit, std::max<qsizetype>(bytes.size(), 1)),
           "lines are the same however they arrive");
    const bool endsOpen = !bytes.isEmpty() && bytes.back() != '\n';
    expect(lines.size() == std::count(bytes.begin(), bytes.end(), '\n') + (endsOpen ? 1 : 0),
           "each line feed ends a line, and nothing else does");
    LogStore log;
    for (const QString &line : lines) {
        expect(line.capacity() <= limit + LineSplitter::maxNote,
               "no line takes more memory than allowed");
        expect(!line.contains(u'\n'), "no line holds a line feed");
        expect(LogStore::cleaned(line) == cleanedByExpression(line), "colours are removed");
        log.append(line);
    }
    expect(log.lines().size() <= LogStore::maxLines && !log.lines().contains(QString()),
           "the log holds no empty lines");
    return 0;
}
