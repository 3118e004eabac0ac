// Flushed log lines of 80 bytes against spdlog with the same fields, and against a bare write(2) loop.
//
// usage: bench_logging FOLDER [Google Benchmark options]

#include "bench/Compare.h"
#include "logging/Logging.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

// Time stamp (19), type field (13), blank, text and line end make 80 bytes.
const std::string kText(80 - 19 - 13 - 1 - 1, 'x');

void compareWith(const std::string& folder, int threads) {
    using Vantor::LibLogging;
    const std::string suffix = threads == 1 ? "one thread" : std::to_string(threads) + " threads";

    LibLogging* logger = LibLogging::GetHandle(static_cast<unsigned>(LibLogging::Register()));
    logger->Init(folder + "/ours-" + std::to_string(threads), 0xFFFFFFFFU, false);
    logger->LogRotation(false, 0);
    logger->Enabled(true);
    const auto ours = [logger] { logger->LogMessage(kText); };

    const auto peer = spdlog::basic_logger_mt("peer" + std::to_string(threads),
                                              folder + "/spdlog-" + std::to_string(threads) + ".log", true);
    peer->set_pattern("%Y-%m-%d %H:%M:%S%=13l %v");
    peer->flush_on(spdlog::level::trace);
    compare(
        "log line, " + suffix + ", to spdlog", ours, [peer] { peer->info(kText); }, threads);

    const std::string bare = folder + "/bare-" + std::to_string(threads) + ".log";
    const int file = open(bare.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
    const std::string line = std::string(79, 'x') + "\n";
    compare(
        "log line, " + suffix + ", to write(2)", ours,
        [file, line] { benchmark::DoNotOptimize(write(file, line.data(), line.size())); }, threads);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_logging FOLDER [options]\n");
        return 64;
    }
    const std::string folder = argv[1];
    compareWith(folder, 1);
    compareWith(folder, 4);
    argv[1] = argv[0];
    int rest = argc - 1;
    benchmark::Initialize(&rest, argv + 1);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
