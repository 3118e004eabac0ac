// `sleep` without waiting: recorded among the PC/SC calls.
#include <unistd.h>

#include "tests/fakes/FakePcscRecord.h"

extern "C" unsigned int sleep(unsigned int seconds) {
    FakePcsc::RecordForeignCall("sleep(" + std::to_string(seconds) + ")");
    return 0;
}
