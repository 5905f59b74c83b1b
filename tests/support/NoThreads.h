#pragma once

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <pthread.h>

namespace brindle {

/// While it is true, no thread can be started in this process. For tests that are linked with
/// ENABLE_EXPORTS, so that Qt finds the function below in place of the system's; in one source of
/// them only.
inline std::atomic<bool> noThreads = false;

} // namespace brindle

extern "C" {

using PthreadCreate = int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);

/// The sanitizers' own, where they are linked.
[[gnu::weak]] PthreadCreate __interceptor_pthread_create;

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*work)(void *),
                   void *argument) noexcept
{
    static auto *const real =
        __interceptor_pthread_create
            ? &__interceptor_pthread_create
            : reinterpret_cast<PthreadCreate *>(::dlsym(RTLD_NEXT, "pthread_create"));
    return brindle::noThreads ? EAGAIN : real(thread, attributes, work, argument);
}
}
