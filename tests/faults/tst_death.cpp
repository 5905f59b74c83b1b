// The launcher is killed: its game goes on, and every other program that it started ends.

#include "ConsoleLauncher.h"
#include "support/Await.h"
#include "support/Fifo.h"

#include <QDir>
#include <QFile>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestDeath : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    void offerEngine(const QString &importSteps, const QString &playSteps) const
    {
        fixture_->offerEngine(steppedEngine(importSteps, playSteps));
    }

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<PipelineFixture>(); }
    void cleanup() { fixture_.reset(); }

    void aGameGoesOn()
    {
        const Gate gate;
        const Lifeline lifeline;
        const QTemporaryDir folder;
        const QString alive = folder.filePath(u"alive"_s);
        offerEngine(u"exit:0"_s, u"hold:'%1' 'out:engine is playing\\n' gate:'%2' lines:100000 "
                                 "touch:'%3'"_s.arg(lifeline.path(), gate.path(), alive));
        ConsoleLauncher launcher;
        launcher.play(fixture_->host.url());
        launcher.waitFor(u"engine is playing"_s);
        launcher.kill();
        QCOMPARE(launcher.waitForEnd(), -1);
        QVERIFY(!lifeline.isDropped());
        // The game now prints to a pipe without a reader.
        gate.open();
        spinUntil([&] { return lifeline.isDropped(); });
        QVERIFY(QFile::exists(alive));
    }

    void anImportEnds()
    {
        if (QSysInfo::kernelType() != u"linux") {
            QSKIP("this system binds no child to its parent");
        }
        const Lifeline lifeline;
        offerEngine(
            u"ignore:15 hold:'%1' 'out:engine is importing\\n' wait:"_s.arg(lifeline.path()),
            u"exit:0"_s);
        ConsoleLauncher launcher;
        launcher.play(fixture_->host.url());
        launcher.waitFor(u"engine is importing"_s);
        QVERIFY(!lifeline.isDropped());
        launcher.kill();
        QCOMPARE(launcher.waitForEnd(), -1);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void aDownloadLeavesWhatTheNextStartClears()
    {
        offerEngine(u"exit:0"_s, u"'out:engine is playing\\n'"_s);
        const auto gate = fixture_->host.hold(ReleaseHost::gamePath(), 1);
        QStringList left;
        const auto leftovers = [](const QString &folder) {
            return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        };
        ConsoleLauncher launcher;
        launcher.play(fixture_->host.url());
        spinUntil([&] { return gate->isReached(); });
        launcher.kill();
        QCOMPARE(launcher.waitForEnd(), -1);
        left = leftovers(launcher.temporary());
        QCOMPARE(left.size(), 1);
        QVERIFY2(left.constFirst().startsWith(u"Brindle-"), qPrintable(left.constFirst()));

        // The next launcher stalls at the same byte, in a new folder.
        launcher.play(fixture_->host.url());
        spinUntil([&] {
            const QStringList now = leftovers(launcher.temporary());
            return !now.contains(left.constFirst()) && now.size() == 1;
        });
        gate->open();
        launcher.waitFor(u"engine is playing"_s);
        launcher.waitForEnd();
        QCOMPARE(leftovers(launcher.temporary()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestDeath)
#include "tst_death.moc"
