#include "base/Text.h"

#include <QLocale>
#include <QTest>

#include <limits>

namespace Text = brindle::Text;

class ByteCountTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesAsTheFileStyleDoes_data();
    void writesAsTheFileStyleDoes();
    void ignoresTheLocale();
};

void ByteCountTest::writesAsTheFileStyleDoes_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    const auto row = [](qint64 bytes, const char *text) {
        QTest::addRow("%lld", static_cast<long long>(bytes)) << bytes << QString::fromLatin1(text);
    };

    row(0, "Zero KB");
    row(1, "1 byte");
    row(2, "2 bytes");
    row(999, "999 bytes");
    row(1'000, "1 KB");
    row(1'499, "1 KB");
    row(1'500, "2 KB");
    row(999'499, "999 KB");
    row(999'500, "1 MB");
    row(999'950, "1 MB");
    row(1'000'000, "1 MB");
    row(1'049'999, "1 MB");
    row(1'050'000, "1.1 MB");
    row(12'300'000, "12.3 MB");
    row(100'000'000, "100 MB");
    row(999'949'999, "999.9 MB");
    row(999'950'000, "1 GB");
    row(1'004'999'999, "1 GB");
    row(1'005'000'000, "1.01 GB");
    row(1'049'999'999, "1.05 GB");
    row(1'100'000'000, "1.1 GB");
    row(1'230'000'000, "1.23 GB");
    row(999'994'999'999, "999.99 GB");
    row(999'995'000'000, "1 TB");
    row(2'500'000'000'000, "2.5 TB");
    row(999'994'999'999'999, "999.99 TB");
    row(999'995'000'000'000, "1 PB");
    row(999'994'999'999'999'999, "999.99 PB");
    row(999'995'000'000'000'000, "1 EB");
    row(std::numeric_limits<qint64>::max(), "9.22 EB");
    row(-1, "-1 byte");
    row(-999, "-999 bytes");
    row(-1'500, "-2 KB");
    row(std::numeric_limits<qint64>::min(), "-9.22 EB");
}

void ByteCountTest::writesAsTheFileStyleDoes()
{
    QFETCH(qint64, bytes);
    QTEST(Text::byteCount(bytes), "text");
}

void ByteCountTest::ignoresTheLocale()
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));
    const QString text = Text::byteCount(1'234'567'890);
    QLocale::setDefault(before);
    QCOMPARE(text, QStringLiteral("1.23 GB"));
}

QTEST_GUILESS_MAIN(ByteCountTest)
#include "tst_bytecount.moc"
