#include "base/OneShot.h"
#include "support/Await.h"

#include <QTest>

#include <stdexcept>
#include <thread>

using namespace brindle;

namespace {

QCoro::Task<int> result(OneShot<int> continuation)
{
    const int value = co_await continuation;
    co_return value;
}

QCoro::Task<> note(OneShot<> continuation, std::shared_ptr<QStringList> order)
{
    co_await continuation;
    order->append(QStringLiteral("resumed"));
}

} // namespace

class TestContinuation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliversWhatAnyThreadGives()
    {
        const OneShot<int> continuation;
        auto task = result(continuation);
        std::thread([continuation] { QVERIFY(continuation.resume(7)); }).join();
        QVERIFY2(!task.isReady(), "the coroutine goes on in its own event loop");
        QCOMPARE(await(std::move(task)), 7);
    }

    void theFirstDeliveryWins()
    {
        const OneShot<int> continuation;
        const auto failure = std::make_exception_ptr(std::runtime_error("x"));
        QVERIFY(continuation.resume(1));
        QVERIFY(!continuation.resume(2));
        QVERIFY(!continuation.fail(failure));
        QCOMPARE(await(result(continuation)), 1);

        const OneShot<int> other;
        QVERIFY(other.fail(failure));
        QVERIFY(!other.resume(1));
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, await(result(other)));
    }

    /// What a worker has queued for this thread comes first, however quick the worker was.
    void comesBehindWhatWasQueuedBefore_data()
    {
        QTest::addColumn<bool>("before");
        QTest::newRow("delivered before it is awaited") << true;
        QTest::newRow("delivered afterwards") << false;
    }
    void comesBehindWhatWasQueuedBefore()
    {
        QFETCH(const bool, before);
        const auto order = std::make_shared<QStringList>();
        const OneShot<> continuation;
        const auto work = [&] {
            std::thread([&] {
                QMetaObject::invokeMethod(
                    qApp, [order] { order->append(QStringLiteral("queued")); },
                    Qt::QueuedConnection);
                continuation.resume();
            }).join();
        };
        if (before) {
            work();
        }
        auto task = note(continuation, order);
        if (!before) {
            work();
        }
        await(std::move(task));
        QCOMPARE(*order, (QStringList{QStringLiteral("queued"), QStringLiteral("resumed")}));
    }
};

QTEST_GUILESS_MAIN(TestContinuation)
#include "tst_oneshot.moc"
