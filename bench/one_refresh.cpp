// Lists the readers once, as the window's refresh does, and ends: what a report cannot do without.

#include "readers/EnumReaders.h"

#include <vector>

int main() {
    std::vector<Vantor::PCSCReaderConfig> readers;
    return Vantor::ListPCSCReaders(readers) ? 0 : 2;
}
