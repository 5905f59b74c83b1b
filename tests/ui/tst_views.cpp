// Runs the folder's tst_*.qml: the views on a stand-in model.

#include "ViewFixture.h"

#include <QtQuickTest>

class Setup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() { brindle::ViewFixture::setUpApplication(); }
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)
#include "tst_views.moc"
