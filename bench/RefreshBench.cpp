// One refresh of the reader list against the same PC/SC calls made by a bare C function.
// To be started under scripts/with-pcscd; the row's name says how many readers were found.

#include "bench/Compare.h"
#include "bench/bare_refresh.h"
#include "readers/EnumReaders.h"

#include <cstdio>
#include <vector>

int main(int argc, char* argv[]) {
    const int readers = bare_refresh();
    if (readers == 0) {
        std::fprintf(stderr, "bench_refresh: no readers; start me under scripts/with-pcscd\n");
        return 1;
    }
    compare(
        "refresh, " + std::to_string(readers) + (readers == 1 ? " reader" : " readers"),
        [] {
            std::vector<Vantor::PCSCReaderConfig> found;
            Vantor::ListPCSCReaders(found);
            std::vector<Vantor::CTAPIReaderConfig> terminals;
            Vantor::ListCTAPIReaders(terminals);
            benchmark::DoNotOptimize(found);
        },
        [] { benchmark::DoNotOptimize(bare_refresh()); });
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
