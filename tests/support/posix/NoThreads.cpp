#include "support/NoThreads.h"

#include <cstddef>

#include <pthread.h>

namespace LumTests {

/// The stack of a thread would not fit into any memory.
struct NoThreads::System {
    System()
    {
        pthread_getattr_default_np(&before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
        pthread_setattr_default_np(&huge);
        pthread_attr_destroy(&huge);
    }

    ~System()
    {
        pthread_setattr_default_np(&before);
        pthread_attr_destroy(&before);
    }

    System(const System&) = delete;
    System& operator=(const System&) = delete;

    pthread_attr_t before{};
};

NoThreads::NoThreads() : system(std::make_unique<System>()) {}

NoThreads::~NoThreads() = default;

} // namespace LumTests
