#include "base/DetachedThreads.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace brindle {

namespace {

constexpr std::chrono::milliseconds exitPatience(300);

struct Registry
{
    std::mutex lock;
    std::condition_variable changed;
    std::map<int, std::function<void()>> running;
    int nextId = 0;
};

/// Never destroyed: a stuck thread may come to its end after the statics have gone.
Registry &registry()
{
    static auto *const instance = new Registry;
    return *instance;
}

class ExitGuard
{
public:
    ~ExitGuard()
    {
        Registry &all = registry();
        std::vector<std::function<void()>> stops;
        {
            const std::lock_guard guard(all.lock);
            for (auto &[id, stop] : all.running) {
                stops.push_back(std::move(stop));
            }
        }
        for (const auto &stop : stops) {
            stop();
        }
        std::unique_lock guard(all.lock);
        all.changed.wait_for(guard, exitPatience, [&] { return all.running.empty(); });
    }
};

} // namespace

void DetachedThreads::start(std::function<void()> work, std::function<void()> stop)
{
    static const ExitGuard exitGuard;
    Registry &all = registry();
    int id = 0;
    {
        const std::lock_guard guard(all.lock);
        id = all.nextId++;
        all.running.emplace(id, std::move(stop));
    }
    const auto leave = [&all, id] {
        std::function<void()> mine;
        std::unique_lock guard(all.lock);
        // What the function holds may have a lot to clear up, so not under the lock.
        mine = std::move(all.running.at(id));
        all.running.erase(id);
        all.changed.notify_all();
        guard.unlock();
    };
    try {
        std::thread([leave, work = std::move(work)]() mutable {
            work();
            work = nullptr;
            leave();
        }).detach();
    } catch (...) {
        leave();
        throw;
    }
}

} // namespace brindle
