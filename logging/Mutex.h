// A plain lock: one POSIX mutex with default attributes.
#pragma once

#include <memory>

#include <pthread.h>

namespace Vantor {

/// A non-recursive lock; locking it twice from one thread blocks for ever. Fits std::lock_guard.
/// Where the system refuses to make a mutex, the object holds none and all three operations do nothing and return
/// false.
class Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Waits for the lock. @return true when it is held now
    bool lock() { return m_mutex && pthread_mutex_lock(m_mutex.get()) == 0; }
    /// Takes the lock if nobody holds it. @return true when it is held now
    [[nodiscard]] bool trylock();
    /// Gives the lock back. @return true on success
    bool unlock() { return m_mutex && pthread_mutex_unlock(m_mutex.get()) == 0; }

private:
    std::unique_ptr<pthread_mutex_t> m_mutex;
};

} // namespace Vantor
