// Who may look into the storage root: this user, whatever the system gives new files.

#include "PipelineFixture.h"
#include "support/Await.h"

#include <QDir>
#include <QFile>
#include <QtTest>

#include <sys/stat.h>

using namespace brindle;

class TestStorageRoot : public QObject
{
    Q_OBJECT

    static QString modeOf(const QString &path)
    {
        struct stat status = {};
        return stat(QFile::encodeName(path).constData(), &status) == 0
                   ? QString::number(status.st_mode & 07777U, 8)
                   : QStringLiteral("none");
    }

private Q_SLOTS:
    void isMadeForThisUserAlone()
    {
        PipelineFixture fixture;
        fixture.offerEngine("#!/bin/sh\nexit 0\n");
        const mode_t before = umask(0);
        fixture.model().startWork(true);
        spinUntil([&] {
            fixture.clock->advance(Clock::Duration(0.1));
            return !fixture.model().work();
        });
        umask(before);
        const auto modeIn = [&](const char *name) {
            return modeOf(fixture.files.root(QLatin1String(name)));
        };
        QCOMPARE(modeOf(fixture.files.root()), QStringLiteral("700"));
        QCOMPARE(modeIn("Game"), QStringLiteral("700"));
        QCOMPARE(modeIn("Engine"), QStringLiteral("700"));
        QCOMPARE(modeIn("Engine/4.3-stable"), QStringLiteral("700"));
        QCOMPARE(modeIn("info.json"), QStringLiteral("600"));
        QCOMPARE(modeIn("imported-4.3-stable.txt"), QStringLiteral("600"));
    }

    void othersLoseTheirRights()
    {
        PipelineFixture fixture;
        fixture.files.installByHand("#!/bin/sh\nexit 0\n");
        QCOMPARE(chmod(QFile::encodeName(fixture.files.root()).constData(), 0775), 0);
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(modeOf(fixture.files.root()), QStringLiteral("700"));
    }
};

QTEST_GUILESS_MAIN(TestStorageRoot)
#include "tst_storageroot.moc"
