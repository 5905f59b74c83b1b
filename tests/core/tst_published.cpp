#include "core/AppState.h"

#include <QtTest>

using namespace brindle;

/// An owner as a model is one.
class Owner : public QObject
{
    Q_OBJECT

public:
    int value = 7;
    Published<int, Owner> number{this, &Owner::numberChanged, value};

Q_SIGNALS:
    void willChange();
    void numberChanged();
};

class TestPublished : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void announcesBeforeAndAfter()
    {
        Owner owner;
        QStringList seen;
        connect(&owner, &Owner::willChange, this,
                [&] { seen << QStringLiteral("will %1").arg(owner.number()); });
        connect(&owner, &Owner::numberChanged, this,
                [&] { seen << QStringLiteral("did %1").arg(owner.number()); });
        QCOMPARE(owner.number(), 7);

        owner.number = 8;
        QCOMPARE(seen, (QStringList{QStringLiteral("will 7"), QStringLiteral("did 8")}));
    }

    void announcesEqualValues()
    {
        Owner owner;
        QSignalSpy will(&owner, &Owner::willChange);
        QSignalSpy did(&owner, &Owner::numberChanged);
        owner.number = 7;
        owner.number = 7;
        QCOMPARE(will.size(), 2);
        QCOMPARE(did.size(), 2);
    }

    void anUpdateToAnEqualValueIsNone()
    {
        Owner owner;
        QSignalSpy will(&owner, &Owner::willChange);
        QSignalSpy did(&owner, &Owner::numberChanged);
        owner.number.update(7);
        QCOMPARE(will.size() + did.size(), 0);
        owner.number.update(8);
        QCOMPARE(will.size(), 1);
        QCOMPARE(did.size(), 1);
        QCOMPARE(owner.number(), 8);
        QCOMPARE(owner.value, 8);
    }
};

QTEST_GUILESS_MAIN(TestPublished)
#include "tst_published.moc"
