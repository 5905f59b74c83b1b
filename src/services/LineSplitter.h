#pragma once

#include <QByteArray>
#include <QStringList>

namespace brindle {

/// Cuts a byte stream into lines. Only the line feed ends a line and is removed; decoding happens
/// on whole lines, with repair, so that characters split across reads come out whole. A line
/// longer than the limit comes out in pieces, cut between characters where there is a place.
/// One thread at a time.
class LineSplitter
{
public:
    explicit LineSplitter(qsizetype maxLineBytes) : maxLineBytes_(maxLineBytes) {}

    /// The lines that these bytes complete, in order.
    QStringList consume(const QByteArray &bytes);
    /// What is left without a line feed, if anything; the splitter is empty afterwards.
    QStringList flush();

private:
    void cutLongLine(QStringList &lines);

    qsizetype maxLineBytes_;
    QByteArray rest_; // what came after the last line feed
};

} // namespace brindle
