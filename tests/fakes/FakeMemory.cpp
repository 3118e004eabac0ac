#include "tests/fakes/FakeMemory.h"

namespace FakeMemory {

namespace {

constexpr int never = -1;
int successes = never; // allocations that still succeed
bool hasFailed = false;

} // namespace

void FailAt(int number) {
    successes = number;
    hasFailed = false;
}

bool BeEnough() {
    successes = never;
    return hasFailed;
}

Plenty::Plenty() : kept(successes) {
    successes = never;
}

Plenty::~Plenty() {
    successes = kept;
}

bool IsOut() {
    if (successes == never || successes-- != 0) {
        return false;
    }
    hasFailed = true;
    return true;
}

} // namespace FakeMemory
