// An archive tool that unpacks in place and is interrupted half-way, alone or with the launcher:
// what it has written by then is never taken for a game or an engine, and the next Play makes it
// whole.

#include "../torture/Tree.h"
#include "ConsoleLauncher.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/EngineScript.h"

#include <QFileInfo>
#include <QtTest>

using namespace brindle;

namespace {

const auto isPlaying = QStringLiteral("engine is playing");

} // namespace

class TestHalfUnpacked : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;
    std::unique_ptr<QTemporaryDir> programs_;
    std::unique_ptr<ConsoleLauncher> launcher_;
    Tree complete_; // what an undisturbed Play leaves in the storage root

    /// Of an archive that holds a file of that name, only those are left that make it look whole;
    /// of them, the first half. Then it does `end`.
    void setTool(const QString &name, const QString &end) const
    {
        const QString tool = programs_->filePath(QStringLiteral("ditto"));
        QFile::remove(tool);
        ModelFixture::write(
            tool,
            QStringLiteral("#!/bin/sh\n"
                           "'%1/ditto' \"$@\" || exit\n"
                           "found=$(find \"$4\" -name '%2')\n"
                           "[ -n \"$found\" ] || exit 0\n"
                           "find \"$4\" -type f ! -name '%2' -delete\n"
                           "head -c 10 \"$found\" > '%1.half' && cat '%1.half' > \"$found\"\n"
                           "rm '%1.half'\n"
                           "%3\n")
                .arg(QCoreApplication::applicationDirPath(), name, end)
                .toUtf8(),
            true);
    }

    void play()
    {
        launcher_->play(fixture_->host.url());
        launcher_->waitForEnd();
    }

    /// What is in the storage root, but for what names the host, another one in every test.
    Tree installed() const
    {
        return Tree::read(launcher_->root())
            .without(QStringLiteral("info.json"))
            .without(QStringLiteral("Game/godot-brindle-main/.gitmodules"));
    }

private Q_SLOTS:
    void init()
    {
        fixture_ = std::make_unique<PipelineFixture>();
        fixture_->offerEngine(engineScript("echo \"engine is playing\""));
        programs_ = std::make_unique<QTemporaryDir>();
        if (complete_.entries().isEmpty()) {
            launcher_ = std::make_unique<ConsoleLauncher>();
            play();
            QVERIFY(launcher_->hasPrinted(isPlaying));
            complete_ = installed();
        }
        launcher_ = std::make_unique<ConsoleLauncher>();
        launcher_->setPrograms(programs_->path());
    }
    void cleanup()
    {
        launcher_.reset();
        programs_.reset();
        fixture_.reset();
    }

    void isNeverTakenForWhole_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("end");
        const PipelineFixture fixture;
        const QString engine =
            QFileInfo(EngineSpec{QStringLiteral("4.3-stable")}.program(fixture.platform))
                .fileName();
        for (const auto &[what, name] :
             {std::pair("game", QStringLiteral("project.godot")),
              std::pair("add-on", QStringLiteral("plugin.cfg")), std::pair("engine", engine)}) {
            QTest::addRow("%s, the tool fails", what) << name << QStringLiteral("exit 1");
            QTest::addRow("%s, the tool dies", what) << name << QStringLiteral("kill -9 $$");
            QTest::addRow("%s, both die", what)
                << name << QStringLiteral("kill -9 $PPID; kill -9 $$");
        }
    }
    void isNeverTakenForWhole()
    {
        QFETCH(const QString, name);
        QFETCH(const QString, end);
        setTool(name, end);
        play();
        QVERIFY(!launcher_->hasPrinted(isPlaying));
        const Tree left = Tree::read(launcher_->root());
        for (auto it = left.entries().begin(); it != left.entries().end(); ++it) {
            const bool isHidden =
                it.key().contains(u"/.brindle-") || it.key().startsWith(u".brindle-");
            QVERIFY2(isHidden || !it.key().endsWith(u'/' + name), qPrintable(it.key()));
        }

        launcher_->setPrograms(QCoreApplication::applicationDirPath());
        play();
        QVERIFY(launcher_->hasPrinted(isPlaying));
        QCOMPARE(installed().differences(complete_).join(u'\n'), QString());
        QCOMPARE(Files::names(launcher_->temporary()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestHalfUnpacked)
#include "tst_halfunpacked.moc"
