// Splitting a log into parts, and a start that archives the parts of the run before, against cp of the same bytes.
//
// usage: bench_log_files FOLDER TOTAL-MIB PARTS [Google Benchmark options]
// TOTAL-MIB is logged and split at 10 MB; PARTS old parts of 10 kB are there at a start. Only the moving is timed.

#include "bench/Compare.h"
#include "logging/Logging.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using Vantor::LibLogging;

constexpr std::size_t PartSize = 10'000'000;
constexpr std::size_t OldPartSize = 10'000;

void Fill(const fs::path& file, std::size_t size) {
    const std::string line = std::string(79, 'x') + "\n";
    std::string text;
    while (text.size() < size)
        text += line;
    text.resize(size);
    std::ofstream(file, std::ios::app) << text;
}

fs::path Fresh(const fs::path& folder) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

void Copy(const fs::path& from, const fs::path& to) {
    const std::string command = "cp -r " + from.string() + " " + to.string();
    if (std::system(command.c_str()) != 0)
        std::exit(EXIT_FAILURE);
}

LibLogging* NewLogger(const fs::path& file, bool rotate) {
    LibLogging* logger = LibLogging::GetHandle(static_cast<unsigned>(LibLogging::Register()));
    logger->Init(file.string(), 0xFFFFFFFFU, rotate);
    return logger;
}

void RegisterTimed(const std::string& name, void (*work)(benchmark::State&, const fs::path&, std::size_t),
                   const fs::path& folder, std::size_t amount) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { work(state, folder, amount); })
        ->UseRealTime()
        ->Iterations(1);
}

void Split(benchmark::State& state, const fs::path& folder, std::size_t parts) {
    for (auto _ : state) {
        state.PauseTiming();
        const fs::path live = Fresh(folder) / "split.log";
        LibLogging* logger = NewLogger(live, false);
        for (std::size_t i = 0; i < parts; ++i) {
            Fill(live, PartSize);
            state.ResumeTiming();
            logger->SplitLog();
            state.PauseTiming();
        }
        logger->Destroy();
        if (!fs::exists(folder / ("split_" + std::to_string(parts - 1) + ".log")))
            state.SkipWithError("the last part is missing");
        state.ResumeTiming();
    }
    fs::remove_all(folder);
}

void CopyParts(benchmark::State& state, const fs::path& folder, std::size_t parts) {
    for (auto _ : state) {
        state.PauseTiming();
        const fs::path live = Fresh(folder) / "split.log";
        for (std::size_t i = 0; i < parts; ++i) {
            fs::remove(live);
            Fill(live, PartSize);
            state.ResumeTiming();
            Copy(live, folder / ("split_" + std::to_string(i) + ".log"));
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    fs::remove_all(folder);
}

void MakeOldParts(const fs::path& folder, std::size_t parts) {
    Fresh(folder);
    Fill(folder / "start.log", OldPartSize);
    for (std::size_t i = 0; i < parts; ++i)
        Fill(folder / ("start_" + std::to_string(i) + ".log"), OldPartSize);
}

void Start(benchmark::State& state, const fs::path& folder, std::size_t parts) {
    for (auto _ : state) {
        state.PauseTiming();
        MakeOldParts(folder, parts);
        state.ResumeTiming();
        LibLogging* logger = NewLogger(folder / "start.log", true);
        state.PauseTiming();
        logger->Destroy();
        if (fs::exists(folder / "start_0.log"))
            state.SkipWithError("a part was not archived");
        state.ResumeTiming();
    }
    fs::remove_all(folder);
}

void CopyAll(benchmark::State& state, const fs::path& folder, std::size_t parts) {
    const fs::path target = folder.string() + "-copy";
    for (auto _ : state) {
        state.PauseTiming();
        MakeOldParts(folder, parts);
        fs::remove_all(target);
        state.ResumeTiming();
        Copy(folder, target);
    }
    fs::remove_all(folder);
    fs::remove_all(target);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: bench_log_files FOLDER TOTAL-MIB PARTS [options]\n");
        return 64;
    }
    const fs::path folder = argv[1];
    const std::string total = argv[2];
    const std::size_t splits = std::max<std::size_t>(1, (std::stoul(total) << 20U) / PartSize);
    const std::size_t parts = std::stoul(argv[3]);
    const std::string split = "log file of " + total + " MiB split at 10 MB";
    RegisterTimed(split + "|ours", Split, folder / "ours", splits);
    RegisterTimed(split + "|peer", CopyParts, folder / "peer", splits);
    const std::string start = "log file start with " + std::string(argv[3]) + " old parts";
    RegisterTimed(start + "|ours", Start, folder / "ours", parts);
    RegisterTimed(start + "|peer", CopyAll, folder / "peer", parts);
    argv[3] = argv[0];
    int rest = argc - 3;
    benchmark::Initialize(&rest, argv + 3);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
