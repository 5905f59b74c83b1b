#include "engine/ChecksumList.h"

#include "base/Text.h"

namespace brindle {

std::optional<QString> ChecksumList::digest(const QByteArray &list, const QString &zipName)
{
    const QString text = QString::fromUtf8(list);
    std::optional<QString> digest;
    Text::eachLine(text, [&](QStringView line) {
        QStringView first;
        qsizetype begin = 0;
        for (qsizetype i = 0; i <= line.size(); ++i) {
            if (i < line.size() && line[i] != u' ' && line[i] != u'*') {
                continue;
            }
            const QStringView piece = line.sliced(begin, i - begin);
            begin = i + 1;
            if (piece.isEmpty()) {
                continue;
            }
            if (!first.isEmpty()) {
                if (piece == zipName) {
                    digest = first.toString().toLower();
                }
                break;
            }
            first = piece;
        }
        return true;
    });
    return digest;
}

} // namespace brindle
