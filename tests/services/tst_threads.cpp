#include "base/Threads.h"
#include "support/Await.h"
#include "support/Thrown.h"

#include <QProcess>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <semaphore>
#include <thread>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Returns a pointer whose last copy records the thread of its destruction in `destroyedOn`.
std::shared_ptr<void> watched(std::atomic<QThread *> &destroyedOn)
{
    return {nullptr, [&destroyedOn](void *) { destroyedOn = QThread::currentThread(); }};
}

QCoro::Task<> note(QCoro::Task<> work, std::shared_ptr<QStringList> order)
{
    co_await work;
    order->append(u"resumed"_s);
}

/// Ends the program while a thread runs.
int endWithAThread(const QString &which)
{
    static std::binary_semaphore started(0);
    static std::binary_semaphore never(0);
    static std::binary_semaphore ending(0);
    std::atexit([] { std::fputs(" atexit", stdout); });
    const auto beStuck = [] {
        started.release();
        never.acquire();
    };
    if (which == u"stuck worker"_s) {
        Threads::startOnWorker(beStuck);
    } else if (which == u"stuck thread"_s) {
        Threads::start(beStuck);
    } else {
        Threads::start([] {
            started.release();
            ending.acquire();
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the thread is still busy
            std::fputs("done", stdout);
        });
        qAddPostRoutine([] { ending.release(); });
    }
    started.acquire();
    std::fputs("ending", stdout); // ending must flush this text
    return 0;
}

} // namespace

class TestThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void destroysOnAThreadWhatTheThreadHolds()
    {
        std::atomic<QThread *> ran = nullptr;
        std::atomic<QThread *> destroyedOn = nullptr;
        Threads::start([&ran, held = watched(destroyedOn)] { ran = QThread::currentThread(); });
        spinUntil([&] { return destroyedOn.load(); });
        QVERIFY(ran != QThread::currentThread());
        QCOMPARE(destroyedOn.load(), ran.load());
    }

    void theProgramEnds_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::newRow("stuck thread") << QByteArray("ending");
        QTest::newRow("stuck worker") << QByteArray("ending");
        QTest::newRow("busy thread") << QByteArray("endingdone atexit");
    }
    void theProgramEnds()
    {
        QFETCH(const QByteArray, output);
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(),
                      {u"tst_threads"_s, u"--end"_s, QString::fromLatin1(QTest::currentDataTag())});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.readAllStandardOutput(), output);
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
    }

    void aWorkersResultComesBack()
    {
        const QThread *const here = QThread::currentThread();
        QVERIFY(await(runOnWorker([here] { return QThread::currentThread() != here; })));
        QCOMPARE(*await(runOnWorker([] { return std::make_unique<int>(7); })), 7);
        bool ran = false;
        await(runOnWorker([&ran] { ran = true; }));
        QVERIFY(ran);
        QVERIFY_THROWS_EXCEPTION(int, await(runOnWorker([] { throw 7; })));
    }

    void aStopDoesNotWaitForTheWorker()
    {
        std::stop_source stop;
        std::binary_semaphore leave(0);
        std::atomic<bool> done = false;
        auto task = runOnWorker(
            [&] {
                leave.acquire();
                done = true;
                throw 7;
            },
            stop.get_token());
        stop.request_stop();
        QVERIFY(endsCancelled(std::move(task)));
        QVERIFY(!done);
        leave.release();
        spinUntil([&] { return done.load(); });
    }

    void aStopBeforeTheResumptionCancels()
    {
        for (int i = 0; i < 50; ++i) {
            std::stop_source stop;
            std::atomic<bool> done = false;
            auto task = runOnWorker([&] { done = true; }, stop.get_token());
            while (!done) {
                QThread::yieldCurrentThread();
            }
            stop.request_stop();
            QVERIFY(endsCancelled(std::move(task)));
        }
    }

    void aStopBeforeTheCallKeepsTheWorkFromRunning()
    {
        std::stop_source stop;
        stop.request_stop();
        std::atomic<bool> ran = false;
        QVERIFY(endsCancelled(runOnWorker([&] { ran = true; }, stop.get_token())));
        await(runOnWorker([] {}));
        QVERIFY(!ran);
    }

    void resumesBehindEarlierEvents()
    {
        const auto order = std::make_shared<QStringList>();
        const auto work = [order] {
            const auto note = [order] { order->append(u"queued"_s); };
            QMetaObject::invokeMethod(QCoreApplication::instance(), note, Qt::QueuedConnection);
        };
        // This work ends before the caller awaits it.
        const auto start = [](std::function<void()> run) { std::thread(run).join(); };
        await(note(runOnWorker(work, {}, start), order));
        QCOMPARE(*order, (QStringList{u"queued"_s, u"resumed"_s}));
    }
};

int main(int argc, char **argv)
{
    const Threads::ProgramEnd programEnd;
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == u"--end"_s) {
        return endWithAThread(arguments.at(2));
    }
    TestThreads test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_threads.moc"
