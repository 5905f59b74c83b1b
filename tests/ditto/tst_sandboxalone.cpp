// The sandbox of the archive tool, without its checks: a tool that does all that an archive wants,
// with every hostile archive of the corpus. Nothing outside the destination may change, no
// connection be made and no program run. The same tool without a sandbox shows that it would
// happen.

#include "Bombs.h"
#include "HostileCorpus.h"
#include "Surroundings.h"
#include "sandbox/Sandbox.h"

#include <QFileInfo>
#include <QTcpServer>
#include <QtTest>

using namespace brindle;

namespace {

const auto sandboxed = QStringLiteral(BRINDLE_UNCHECKED);
const auto unsandboxed = QStringLiteral(BRINDLE_UNSANDBOXED);

/// What an unpacking did that it should not have.
QStringList harm(const Surroundings &around, const QStringList &before)
{
    QStringList found;
    for (const QString &line : around.outside()) {
        if (!before.contains(line)) {
            found << line;
        }
    }
    for (const QString &line : before) {
        if (!around.outside().contains(line)) {
            found << QStringLiteral("no more: ") + line;
        }
    }
    return found + around.special();
}

QByteArray only(const RawZip::Entry &entry)
{
    return RawZip().add(entry).bytes();
}

/// A program that says that it ran, beside the destination.
RawZip::Entry program(const Surroundings &around)
{
    return {"program", "#!/bin/sh\necho ran >" + around.path("parent/ran").toUtf8() + '\n',
            RawZip::file755};
}

/// A link whose target takes more memory than the tool may have. Read as a whole, as the checks
/// are that would have refused it for its size.
RawZip::Entry endlessLink()
{
    RawZip::Entry link = Bombs::zeros("link", 100'000'000);
    link.mode = RawZip::link777;
    return link;
}

} // namespace

class TestSandboxAlone : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const Sandbox::Parts parts = Sandbox::available();
        if (!parts.files) {
            QSKIP("this system has no Landlock: its files lie open");
        }
        if (!parts.calls) {
            QSKIP("this system has no seccomp: its calls lie open");
        }
    }

    void init() { around_.emplace(); }

    void nothingGetsOut_data() { listed(HostileCorpus::cases(Surroundings()), false); }

    void nothingGetsOut()
    {
        QFETCH(int, number);
        const CorpusCase one = HostileCorpus::cases(*around_).at(number);
        around_->putArchive(one.archive());
        const QStringList before = around_->outside();
        const Surroundings::Run run = around_->unpack(sandboxed);
        QVERIFY2(run.code == 0 || run.code == 1, run.errors.constData());
        QCOMPARE(harm(*around_, before), QStringList());
        QCOMPARE(around_->beside(), (QStringList{QStringLiteral("a.zip"), QStringLiteral("out")}));
        // It was at work, and went on to the end.
        QVERIFY(!one.escapes ||
                QFileInfo::exists(around_->destination() + QStringLiteral("/first.txt")));
    }

    void withoutTheSandboxItDoes_data() { listed(HostileCorpus::cases(Surroundings()), true); }

    void withoutTheSandboxItDoes()
    {
        QFETCH(int, number);
        around_->putArchive(HostileCorpus::cases(*around_).at(number).archive());
        const QStringList before = around_->outside();
        around_->unpack(unsandboxed);
        QVERIFY(!harm(*around_, before).isEmpty());
    }

    void rightsOfOwnersAreNotLent()
    {
        around_->putArchive(only({"file", "x", 0106755}));
        around_->unpack(sandboxed);
        QCOMPARE(Surroundings::tree(around_->destination()).size(), 1);
        QCOMPARE(around_->special(), QStringList());
        QVERIFY(QFile::rename(around_->destination(), around_->path("parent/sandboxed")));
        around_->unpack(unsandboxed);
        QCOMPARE(around_->special().size(), 1);
    }

    void noProgramIsRun()
    {
        const QString trace = around_->path("parent/ran");
        around_->putArchive(only(program(*around_)));
        QCOMPARE(around_->unpack(sandboxed).code, 0);
        QVERIFY(QFileInfo::exists(around_->destination() + QStringLiteral("/program")));
        QVERIFY(!QFileInfo::exists(trace));
        around_->clear();
        around_->unpack(unsandboxed);
        QVERIFY(QFileInfo::exists(trace));
    }

    void noConnectionIsMade()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        around_->putArchive(only({"connect to " + QByteArray::number(server.serverPort()), "x"}));
        QCOMPARE(around_->unpack(sandboxed).code, 0);
        // The kernel has taken a connection before its maker goes on.
        QVERIFY(!server.waitForNewConnection(0));
        around_->clear();
        around_->unpack(unsandboxed);
        QVERIFY(server.waitForNewConnection(-1));
    }

    void filesAreNoLargerThanAllowed()
    {
        constexpr qint64 most = 4LL << 30;
        const QString file = around_->destination() + QStringLiteral("/x");
        RawZip::Entry entry{"x", "small", RawZip::file644};
        entry.size = most + 1;
        entry.zip64 = true;
        around_->putArchive(only(entry));
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
            QSKIP("address sanitizer takes more memory than any limit that would be of use");
        }
        around_->putArchive(only(endlessLink()));
        const Surroundings::Run run = around_->unpack(sandboxed);
        QCOMPARE(run.code, 1);
        QCOMPARE(run.errors, QByteArray("ditto: not enough memory for this archive\n"));
        QCOMPARE(around_->unpack(unsandboxed).code, 0);
    }

private:
    static void listed(const QList<CorpusCase> &cases, bool onlyEscapes)
    {
        QTest::addColumn<int>("number");
        for (int i = 0; i < cases.size(); ++i) {
            if (!cases.at(i).endless && (!onlyEscapes || cases.at(i).escapes)) {
                QTest::newRow(cases.at(i).name) << i;
            }
        }
    }

    std::optional<Surroundings> around_;
};

QTEST_GUILESS_MAIN(TestSandboxAlone)
#include "tst_sandboxalone.moc"
