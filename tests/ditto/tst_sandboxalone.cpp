// Runs the archive tool without its checks. In the sandbox the tool changes nothing outside the
// destination; without the sandbox it does.

#include "Corpus.h"
#include "Surroundings.h"
#include "sandbox/Sandbox.h"

#include <QFileInfo>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const auto sandboxed = QStringLiteral(BRINDLE_UNCHECKED);
const auto unsandboxed = QStringLiteral(BRINDLE_UNSANDBOXED);

/// Returns the changes outside the destination, and special files inside.
QStringList harm(const Surroundings &around, const QStringList &before)
{
    const QStringList after = around.outside();
    QStringList found = around.special();
    for (const QString &line : after + before) {
        if (!before.contains(line) || !after.contains(line)) {
            found << line;
        }
    }
    return found;
}

} // namespace

class TestSandboxAlone : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const Sandbox::Parts parts = Sandbox::available();
        if (!parts.files || !parts.calls) {
            QSKIP("this system has no Landlock or no seccomp");
        }
    }

    void init() { around_.emplace(); }

    void nothingGetsOut_data() { list(false); }

    void nothingGetsOut()
    {
        QFETCH(int, number);
        const CorpusCase one = Corpus::hostile(*around_).at(number);
        around_->putArchive(one.archive());
        const QStringList before = around_->outside();
        const Surroundings::Run run = around_->unpack(sandboxed);
        QVERIFY2(run.code == 0 || run.code == 1, run.errors.constData());
        QCOMPARE(harm(*around_, before), QStringList());
        QCOMPARE(around_->beside(), (QStringList{u"a.zip"_s, u"out"_s}));
        // The tool must have done some work.
        QVERIFY(!one.escapes || QFileInfo::exists(around_->destination() + u"/first.txt"_s));
    }

    void withoutTheSandboxItDoes_data() { list(true); }

    void withoutTheSandboxItDoes()
    {
        QFETCH(int, number);
        around_->putArchive(Corpus::hostile(*around_).at(number).archive());
        const QStringList before = around_->outside();
        around_->unpack(unsandboxed);
        QVERIFY(!harm(*around_, before).isEmpty());
    }

    void filesAreNoLargerThanAllowed()
    {
        constexpr qint64 most = 4LL << 30;
        const QString file = around_->destination() + u"/x"_s;
        put({.name = "x", .content = "small", .size = most + 1, .zip64 = true});
        const Surroundings::Run run = around_->unpack(sandboxed);
        QVERIFY2(run.errors.contains(strerror(EFBIG)), run.errors.constData());
        QVERIFY(QFileInfo(file).size() <= most);
        around_->clear();
        around_->unpack(unsandboxed);
        QVERIFY(QFileInfo(file).size() > most);
    }

    void memoryIsLimited()
    {
        if (!Sandbox::available().memory) {
            QSKIP("address sanitizer takes more memory than any useful limit");
        }
        // Without checks, the tool reads the whole target.
        RawZip::Entry link = RawZip::zeros("link", 100'000'000);
        link.mode = RawZip::link777;
        put(link);
        const Surroundings::Run run = around_->unpack(sandboxed);
        QCOMPARE(run.code, 1);
        QCOMPARE(run.errors, QByteArray("ditto: not enough memory for this archive\n"));
        QCOMPARE(around_->unpack(unsandboxed).code, 0);
    }

private:
    static void list(bool onlyEscapes)
    {
        const auto cases = Corpus::hostile(Surroundings());
        QTest::addColumn<int>("number");
        for (int i = 0; i < cases.size(); ++i) {
            if (!onlyEscapes || cases.at(i).escapes) {
                QTest::newRow(cases.at(i).name) << i;
            }
        }
    }

    void put(const RawZip::Entry &entry) { around_->putArchive(RawZip({entry}).bytes()); }

    std::optional<Surroundings> around_;
};

QTEST_GUILESS_MAIN(TestSandboxAlone)
#include "tst_sandboxalone.moc"
