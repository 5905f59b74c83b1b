#include "base/ByteCount.h"

#include <array>

namespace brindle {

namespace {

struct Unit
{
    QStringView name;
    int decimals;  ///< at most so many
    quint64 scale; ///< ten to the power of that
};

constexpr quint64 kilo = 1000;
constexpr std::array<Unit, 6> units{{
    {u" KB", 0, 1},
    {u" MB", 1, 10},
    {u" GB", 2, 100},
    {u" TB", 2, 100},
    {u" PB", 2, 100},
    {u" EB", 2, 100},
}};

/// `count` / `scale` as a decimal number without trailing zeros.
QString number(quint64 count, const Unit &unit)
{
    QString whole = QString::number(count / unit.scale);
    if (count % unit.scale == 0) {
        return whole;
    }
    QString fraction = QString::number(count % unit.scale).rightJustified(unit.decimals, u'0');
    while (fraction.endsWith(u'0')) {
        fraction.chop(1);
    }
    return whole + u'.' + fraction;
}

QString magnitude(quint64 bytes)
{
    if (bytes == 1) {
        return QStringLiteral("1 byte");
    }
    if (bytes < kilo) {
        return QString::number(bytes) + QStringLiteral(" bytes");
    }
    quint64 size = kilo;
    for (const Unit &unit : units) {
        const quint64 step = size / unit.scale; // bytes per last shown digit
        const quint64 count = bytes / step + (bytes % step >= step / 2 ? 1 : 0);
        if (count < kilo * unit.scale || &unit == &units.back()) {
            return number(count, unit) + unit.name.toString();
        }
        size *= kilo;
    }
    Q_UNREACHABLE();
}

} // namespace

QString ByteCount::string(qint64 bytes)
{
    if (bytes == 0) {
        return QStringLiteral("Zero KB");
    }
    // Negated as unsigned, because the smallest number has no positive counterpart.
    return bytes < 0 ? u'-' + magnitude(~static_cast<quint64>(bytes) + 1)
                     : magnitude(static_cast<quint64>(bytes));
}

} // namespace brindle
