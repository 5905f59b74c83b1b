// A start's permission to come to the front, where windows belong to X11 and where they don't.

#include "support/Await.h"
#include "ui/QuickDesktop.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestStartupId : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bearsTheTimeOfTheLastInput()
    {
        QuickDesktop desktop({});
        const auto permission = [&] { return await(desktop.startPermission({})); };
        QVERIFY(permission().isEmpty()); // nobody has done anything
        QStringList ids;
        for (const int time : {1000, 4000, 3000}) {
            desktop.noteInput(time);
            ids << permission().values();
        }
        if (QGuiApplication::platformName() != u"xcb") {
            QVERIFY(ids.isEmpty());
            return;
        }
        QCOMPARE(permission().keys(), QStringList{u"DESKTOP_STARTUP_ID"_s});
        const QRegularExpression form(u"^brindle-%1-([0-9]+)-%2_TIME([0-9]+)$"_s.arg(
            QString::number(QCoreApplication::applicationPid()),
            QRegularExpression::escape(QSysInfo::machineHostName())));
        QSet<QString> numbers;
        QStringList times;
        for (const QString &id : ids) {
            const auto match = form.match(id);
            QVERIFY2(match.hasMatch(), qPrintable(id));
            numbers << match.captured(1);
            times << match.captured(2);
        }
        QCOMPARE(numbers.size(), 3);
        QCOMPARE(times, (QStringList{u"1000"_s, u"4000"_s, u"4000"_s}));
    }
};

QTEST_MAIN(TestStartupId)
#include "tst_startupid.moc"
