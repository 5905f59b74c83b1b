#include "net/Resumption.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QString>
#include <QTimeZone>

#include <algorithm>

namespace brindle {

namespace {

/// Not valid when it is no date. Only the form that servers have had to send since 1997.
QDateTime dateOf(const QByteArray &text)
{
    QDateTime date = QLocale::c().toDateTime(QString::fromLatin1(text.trimmed()),
                                             QStringLiteral("ddd, dd MMM yyyy HH:mm:ss 'GMT'"));
    date.setTimeZone(QTimeZone::utc());
    return date;
}

} // namespace

QByteArray Resumption::validator(const Headers &headers)
{
    if (headers.acceptRanges.trimmed().toLower() != "bytes") {
        return {};
    }
    const QByteArray tag = headers.entityTag.trimmed();
    if (!tag.isEmpty()) {
        const bool isStrong = tag.size() >= 2 && tag.startsWith('"') && tag.endsWith('"');
        return isStrong ? tag : QByteArray();
    }
    const QDateTime changed = dateOf(headers.lastModified);
    const QDateTime sent = dateOf(headers.date);
    // Within the second of its last change it may have changed once more.
    const bool isStrong = changed.isValid() && sent.isValid() && changed < sent;
    return isStrong ? headers.lastModified.trimmed() : QByteArray();
}

std::optional<qint64> Resumption::lengthIfContinued(const QByteArray &contentRange, qint64 offset)
{
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(QStringLiteral("bytes (\\d+)-(\\d+)/(\\d+)")),
        QRegularExpression::CaseInsensitiveOption);
    const auto match = form.match(QString::fromLatin1(contentRange.trimmed()));
    bool isNumber = false;
    const qint64 length = match.captured(3).toLongLong(&isNumber);
    if (!isNumber || match.captured(1) != QString::number(offset) ||
        match.captured(2) != QString::number(length - 1)) {
        return std::nullopt;
    }
    return length;
}

std::optional<std::chrono::seconds> Resumption::retryAfter(const QByteArray &retryAfter,
                                                           const QByteArray &date)
{
    bool isNumber = false;
    const uint seconds = retryAfter.trimmed().toUInt(&isNumber);
    if (isNumber) {
        return std::chrono::seconds(seconds);
    }
    const QDateTime until = dateOf(retryAfter);
    if (!until.isValid()) {
        return std::nullopt;
    }
    const QDateTime sent = dateOf(date);
    const QDateTime now = sent.isValid() ? sent : QDateTime::currentDateTimeUtc();
    return std::chrono::seconds(std::max<qint64>(now.secsTo(until), 0));
}

} // namespace brindle
