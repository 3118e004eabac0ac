// Memory that runs out: programs linked with fake_memory have an operator new that fails when a test wants it.
#pragma once

/// One state for the process; for tests of one thread.
namespace FakeMemory {

/// The allocation with this number, counted from 0 and from now on, throws std::bad_alloc; all others succeed.
void FailAt(int number);
/// Nothing fails any more.
/// @return whether an allocation has failed since FailAt
bool BeEnough();

/// While it lives allocations neither fail nor count: stand-ins have enough memory.
class Plenty {
public:
    Plenty();
    ~Plenty();
    Plenty(const Plenty&) = delete;
    Plenty& operator=(const Plenty&) = delete;

private:
    int kept;
};

/// What operator new asks first.
[[nodiscard]] bool IsOut();

} // namespace FakeMemory
