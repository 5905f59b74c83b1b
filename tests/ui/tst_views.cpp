// Runs the folder's tst_*.qml: every view on a stand-in model.

#include "ViewFixture.h"

#include "log/LogStore.h"

#include <QQmlEngine>
#include <QtQuickTest>

class Setup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() { brindle::ViewFixture::setUpApplication(); }
    void qmlEngineAvailable(QQmlEngine *)
    {
        qmlRegisterType<brindle::LogStore>("BrindleTest", 1, 0, "LogStore");
    }
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)
#include "tst_views.moc"
