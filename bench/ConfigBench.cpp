// Load, one change and a listing of configuration files against the same done with the XML library alone.
// Writes /etc/vantor/bench-*: to be started under scripts/sandbox.
//
// usage: bench_config MOST-SUB-TREES [Google Benchmark options]    leaves out what has more

#include "bench/Compare.h"
#include "config/Config.h"

#include <boost/property_tree/xml_parser.hpp>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace pt = boost::property_tree;
using Vantor::Config;

constexpr unsigned kReaders = 1;
constexpr unsigned kValue = 2;

pt::ptree sampleTree(std::size_t readers) {
    pt::ptree tree;
    for (std::size_t i = 0; i < readers; ++i) {
        pt::ptree& reader = tree.put("config.lumo_Client.Reader" + std::to_string(i), "");
        for (const char* key : {"IsSecure", "Reader", "ReaderName", "UseGUI", "UseBeep", "UserMessage"}) {
            reader.put(key, "PCSC Reader " + std::to_string(i));
        }
    }
    tree.put("config.lumo_Client.Language", 89);
    return tree;
}

void save(const std::string& file, const pt::ptree& tree) {
    pt::write_xml(file, tree, std::locale(), pt::xml_writer_settings<std::string>(' ', 0, "utf-8"));
}

std::string prepare(const std::string& name, const pt::ptree& tree) {
    std::filesystem::create_directories("/etc/vantor/" + name);
    std::string file = "/etc/vantor/" + name + "/config";
    save(file, tree);
    return file;
}

Config* open(const std::string& name) {
    Config* config = Config::GetHandle(Config::Register());
    config->Init(name);
    config->AddConfig(kReaders, Vantor::CONFIG_ALLUSERS, "", "lumo Client", static_cast<Vantor::SysType>(0));
    config->AddConfig(kValue, Vantor::CONFIG_ALLUSERS, "Language", "lumo Client", static_cast<Vantor::SysType>(0));
    return config;
}

void compareLoadAndSet(const std::string& size, std::size_t readers) {
    const std::string name = "bench-" + std::to_string(readers);
    const pt::ptree tree = sampleTree(readers);
    const std::string file = prepare(name, tree);
    compare(
        "configuration load " + size,
        [name](benchmark::State& state) {
            Config* loaded = open(name);
            state.PauseTiming();
            loaded->Destroy();
            state.ResumeTiming();
        },
        [file](benchmark::State& state) {
            auto loaded = std::make_unique<pt::ptree>();
            pt::read_xml(file, *loaded);
            state.PauseTiming();
            loaded.reset();
            state.ResumeTiming();
        });
    Config* config = open(name);
    compare(
        "configuration set " + size, [config] { config->SetInteger(kValue, 58); },
        [file, tree] { save(file + ".peer", tree); });
}

void compareList(const std::string& size, std::size_t readers) {
    const std::string name = "bench-list-" + std::to_string(readers);
    const pt::ptree tree = sampleTree(readers);
    prepare(name, tree);
    Config* config = open(name);
    compare(
        "configuration list " + size, [config] { benchmark::DoNotOptimize(config->EnumSubDirs(kReaders, "Reader")); },
        [tree] {
            std::vector<std::string> names;
            for (const auto& child : tree.get_child("config.lumo_Client")) {
                if (child.first.compare(0, 6, "Reader") == 0) {
                    names.push_back(child.first);
                }
            }
            benchmark::DoNotOptimize(names);
        });
}

struct Row {
    void (*add)(const std::string& size, std::size_t readers);
    const char* size;
    std::size_t readers;
};

constexpr Row kRows[] = {
    {compareLoadAndSet, "10 KB", 40},  {compareLoadAndSet, "100 KB", 400},     {compareLoadAndSet, "1 MB", 4000},
    {compareList, "10 sub-trees", 10}, {compareList, "1,000 sub-trees", 1000}, {compareList, "10,000 sub-trees", 10000},
};

} // namespace

int main(int argc, char* argv[]) {
    if (!std::getenv("LUMOADMIN_SANDBOX")) {
        std::fprintf(stderr, "bench_config: start me under scripts/sandbox\n");
        return 64;
    }
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_config MOST-SUB-TREES [options]\n");
        return 64;
    }
    for (const Row& row : kRows) {
        if (row.readers <= std::stoul(argv[1])) {
            row.add(row.size, row.readers);
        }
    }
    argv[1] = argv[0];
    int rest = argc - 1;
    benchmark::Initialize(&rest, argv + 1);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
