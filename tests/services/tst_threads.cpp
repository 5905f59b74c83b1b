#include "base/Error.h"
#include "base/Threads.h"
#include "base/Worker.h"
#include "support/Await.h"
#include "support/NoThreads.h"

#include <QProcess>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <memory>
#include <semaphore>
#include <vector>

using namespace brindle;

namespace {

/// Tells on which thread the last copy of it goes.
std::shared_ptr<void> watched(std::atomic<QThread *> &where)
{
    return {nullptr, [&where](void *) { where = QThread::currentThread(); }};
}

void say(const char *text)
{
    std::puts(text);
    std::fflush(stdout);
}

/// The rest of the program's end runs while a thread is at work.
int endWithAThread(const QString &how)
{
    static std::binary_semaphore started(0);
    static std::binary_semaphore never(0);
    const auto waitForTheEnd = [](const std::stop_token &programEnds) {
        std::binary_semaphore asked(0);
        const std::stop_callback onEnd(programEnds, [&] { asked.release(); });
        started.release();
        asked.acquire();
        say("asked");
    };
    const auto beStuck = [](const std::stop_token &) {
        started.release();
        never.acquire();
    };
    if (how == QStringLiteral("worker")) {
        startOnWorker([] {
            started.release();
            std::getchar();
            say("done");
        });
    } else if (!Threads::start(how == QStringLiteral("stuck") ? Threads::Work(beStuck)
                                                              : Threads::Work(waitForTheEnd))) {
        return 1;
    }
    started.acquire();
    say("ending");
    return 0;
}

} // namespace

class TestThreads : public QObject
{
    Q_OBJECT

private:
    /// A process that comes to its end with a thread at work.
    std::unique_ptr<QProcess> endingProcess(const QString &how)
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::MergedChannels);
        process->start(QCoreApplication::applicationFilePath(), {QStringLiteral("tst_threads"), QStringLiteral("--end"), how});
        return process;
    }

private Q_SLOTS:
    void whatAThreadHoldsGoesThere()
    {
        std::atomic<QThread *> ran = nullptr;
        std::atomic<QThread *> went = nullptr;
        auto held = watched(went);
        QVERIFY(Threads::start([&ran, held = std::move(held)](const std::stop_token &) {
            ran = QThread::currentThread();
        }));
        spinUntil([&] { return went.load(); });
        QVERIFY(ran != QThread::currentThread());
        QCOMPARE(went.load(), ran.load());
    }

    void tellsWhenThereIsNone()
    {
        std::atomic<QThread *> went = nullptr;
        noThreads = true;
        const bool started = Threads::start([held = watched(went)](const std::stop_token &) {});
        noThreads = false;
        QVERIFY(!started);
        QCOMPARE(went.load(), QThread::currentThread());
    }

    void asksAThreadToEndWithTheProgramAndWaitsForIt()
    {
        const auto process = endingProcess(QStringLiteral("asked"));
        QVERIFY(process->waitForFinished());
        QCOMPARE(process->readAll(), QByteArray("ending\nasked\n"));
        QCOMPARE(process->exitCode(), 0);
    }

    void aStuckThreadDoesNotHoldUpTheEnd()
    {
        const auto process = endingProcess(QStringLiteral("stuck"));
        QVERIFY(process->waitForFinished());
        QCOMPARE(process->readAll(), QByteArray("ending\n"));
        QCOMPARE(process->exitCode(), 0);
    }

    void aWorkerIsWaitedForAtTheEnd()
    {
        const auto process = endingProcess(QStringLiteral("worker"));
        QVERIFY2(!process->waitForFinished(1500), "longer than a stuck thread is waited for");
        process->write("\n");
        QVERIFY(process->waitForFinished());
        QCOMPARE(process->readAll(), QByteArray("ending\ndone\n"));
        QCOMPARE(process->exitCode(), 0);
    }

    void aWorkersResultComesBack()
    {
        const QThread *const here = QThread::currentThread();
        QVERIFY(await(runOnWorker([here] { return QThread::currentThread() != here; })));
        bool ran = false;
        await(runOnWorker([&ran] { ran = true; }));
        QVERIFY(ran);
        QVERIFY_THROWS_EXCEPTION(int, await(runOnWorker([] { throw 7; })));
    }

    void moreWorkThanWorkersIsAllDone()
    {
        std::vector<QCoro::Task<int>> tasks;
        std::atomic<int> inside = 0;
        std::atomic<int> most = 0;
        for (int i = 0; i < 50 * maxWorkers; ++i) {
            tasks.push_back(runOnWorker([&, i] {
                const int now = ++inside;
                for (int before = most; before < now && !most.compare_exchange_weak(before, now);) {
                }
                QThread::yieldCurrentThread();
                --inside;
                return i;
            }));
        }
        int next = 0;
        for (auto &task : tasks) {
            QCOMPARE(await(std::move(task)), next++);
        }
        QVERIFY2(most <= maxWorkers, qPrintable(QString::number(most)));
    }

    void workThatFindsNoThreadFails()
    {
        await(runOnWorker([] {}));
        // A worker may just be ending.
        QString description;
        const auto ran = std::make_shared<std::atomic<int>>(0);
        int ended = 0;
        spinUntil([&] {
            noThreads = true;
            auto task = runOnWorker([ran] { ++*ran; });
            noThreads = false;
            try {
                await(std::move(task));
                ++ended;
            } catch (const SystemError &error) {
                description = error.description();
            }
            return !description.isEmpty();
        });
        QCOMPARE(description, QStringLiteral("No thread could be started: "
                                             "Resource temporarily unavailable"));
        QCOMPARE(await(runOnWorker([] { return 7; })), 7);
        // What has failed is not done later after all.
        QCOMPARE(ran->load(), ended);
    }

    void workThatFindsNoThreadOfItsOwnWaitsForOneThatIsThere()
    {
        std::binary_semaphore leave(0);
        auto first = runOnWorker([&] { leave.acquire(); });
        noThreads = true;
        auto second = runOnWorker([] { return 7; });
        noThreads = false;
        leave.release();
        await(std::move(first));
        QCOMPARE(await(std::move(second)), 7);
    }
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == QStringLiteral("--end")) {
        return endWithAThread(arguments.at(2));
    }
    TestThreads test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_threads.moc"
