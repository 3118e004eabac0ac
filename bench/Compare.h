// Pairs of benchmarks that bench/run sets side by side.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <type_traits>
#include <utility>

/// Registers two benchmarks, "<row>|ours" and "<row>|peer"; each callable does the measured work once. It is given the
/// state if it takes one, to stop the clock meanwhile.
/// bench/run runs them in turn within a round and takes the ratio round by round.
template <class Ours, class Peer>
void compare(const std::string& row, Ours ours, Peer peer, int threads = 1) {
    const auto add = [&](const std::string& who, auto work) {
        const auto run = [work](benchmark::State& state) mutable {
            for (auto _ : state) {
                if constexpr (std::is_invocable_v<decltype(work)&, benchmark::State&>) {
                    work(state);
                } else {
                    work();
                }
            }
        };
        auto* const registered = benchmark::RegisterBenchmark((row + "|" + who).c_str(), run);
        registered->Threads(threads)->UseRealTime();
        // For who counts something else than time.
        if (const char* const iterations = std::getenv("BENCH_ITERATIONS")) {
            registered->Iterations(std::atol(iterations));
        }
    };
    add("ours", std::move(ours));
    add("peer", std::move(peer));
}
