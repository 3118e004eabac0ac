#include "logging/Mutex.h"

namespace Vantor {

Mutex::Mutex() : m_mutex(std::make_unique<pthread_mutex_t>()) {
    if (pthread_mutex_init(m_mutex.get(), nullptr) != 0) {
        m_mutex.reset();
    }
}

Mutex::~Mutex() {
    if (m_mutex) {
        pthread_mutex_destroy(m_mutex.get());
    }
}

bool Mutex::trylock() {
    return m_mutex && pthread_mutex_trylock(m_mutex.get()) == 0;
}

} // namespace Vantor
