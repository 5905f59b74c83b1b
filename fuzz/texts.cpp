// Fuzzers for the launcher's other input: checksum lists, saved descriptions, engines' output.

#include "Fuzzers.h"
#include "base/Text.h"
#include "engine/EngineManager.h"
#include "log/LogStore.h"
#include "process/LineSplitter.h"
#include "project/ProjectInfo.h"

#include <QRegularExpression>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

QByteArray bytesOf(const uint8_t *data, size_t size)
{
    return {reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)}; // NOLINT
}

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

/// Cleans a line like the log, but too slowly for a flood of output.
QString cleanedByExpression(QString text)
{
    static const QRegularExpression colour(u"\x1b\\[[0-9;]*[A-Za-z]"_s);
    return Text::withoutNewlines(text.remove(colour)).toString();
}

} // namespace

void fuzzChecksumList(const uint8_t *data, size_t size)
{
    static const auto name = u"Godot_v4.3-stable_linux.x86_64.zip"_s;
    const QByteArray list = bytesOf(data, size);
    const auto digest = EngineManager::publishedDigest(list, name);
    if (digest) {
        expect(QString::fromUtf8(list).contains(name), "only a listed archive has a digest");
        expect(!digest->isEmpty(), "a digest is not empty");
        expect(!digest->contains(u' ') &&
                   std::none_of(digest->cbegin(), digest->cend(), Text::isNewline),
               "a digest is one word");
        expect(*digest == digest->toLower(), "a digest is in lower case");
    }
}

void fuzzInfoJson(const uint8_t *data, size_t size)
{
    const auto read = ProjectInfo::fromJson(bytesOf(data, size));
    if (!read) {
        return;
    }
    // JSON can have half of a surrogate pair, which the first reading replaces.
    const auto once = ProjectInfo::fromJson(read->toJson());
    expect(once.has_value(), "a read description can be saved and read");
    expect(ProjectInfo::fromJson(once->toJson()) == once, "a description survives being saved");
}

void fuzzLogLines(const uint8_t *data, size_t size)
{
    constexpr qsizetype maxNote = 24; // "… (999.9 MB left out)"
    constexpr size_t head = 2;        // the limit and the size of chunks for the rest
    if (size < head) {
        return;
    }
    const qsizetype limit = 4 + data[0];
    const qsizetype chunk = 1 + data[1];
    const QByteArray bytes = bytesOf(data + head, size - head);

    const QStringList lines = split(bytes, limit, chunk);
    expect(lines == split(bytes, limit, std::max<qsizetype>(bytes.size(), 1)),
           "lines are the same however they arrive");
    const bool endsOpen = !bytes.isEmpty() && bytes.back() != '\n';
    expect(lines.size() == bytes.count('\n') + (endsOpen ? 1 : 0),
           "each line feed ends a line, and nothing else does");
    LogStore log;
    for (const QString &line : lines) {
        expect(line.capacity() <= limit + maxNote, "no line takes more memory than allowed");
        expect(!line.contains(u'\n'), "no line holds a line feed");
        expect(LogStore::cleaned(line) == cleanedByExpression(line), "colours are removed");
        log.append(line);
    }
    expect(log.lines().size() <= LogStore::maxLines && !log.lines().contains(QString()),
           "the log holds no empty lines");
}

} // namespace brindle
