// What a press of OK writes, with every reader of the machine ticked, against as many plain writes of the same
// document. To be started under scripts/sandbox, scripts/with-pcscd and scripts/with-desktop; /etc/vantor decides which
// disk.

#include "app/MainFrame.h"
#include "app/wxCheckedListCtrl.h"
#include "bench/Compare.h"
#include "config/FileSystem.h"
#include "config/ProgramConfig.h"

#include <boost/property_tree/xml_parser.hpp>
#include <wx/app.h>
#include <wx/init.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

namespace pt = boost::property_tree;

constexpr char Folder[] = "/etc/vantor/lumoclient";
constexpr char File[] = "/etc/vantor/lumoclient/config";

/// Counts how often a new file has taken the configuration's name. Both halves of a renaming are watched: the kernel
/// merges equal events that follow each other.
class WriteCounter {
public:
    WriteCounter() : queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        inotify_add_watch(queue, Folder, IN_MOVED_FROM | IN_MOVED_TO);
    }
    WriteCounter(const WriteCounter&) = delete;
    WriteCounter& operator=(const WriteCounter&) = delete;
    ~WriteCounter() { close(queue); }

    int Count() const {
        int writes = 0;
        alignas(inotify_event) std::array<char, 4096> buffer{};
        for (ssize_t got = 0; (got = read(queue, buffer.data(), buffer.size())) > 0;)
            for (ssize_t at = 0; at < got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
                writes += (event->mask & IN_MOVED_TO) != 0 && std::string_view(event->name) == "config";
                at += static_cast<ssize_t>(sizeof *event + event->len);
            }
        return writes;
    }

private:
    int queue;
};

Vantor::wxCheckedListCtrl* FindList(const wxWindow& parent) {
    for (auto* child : parent.GetChildren()) {
        auto* list = dynamic_cast<Vantor::wxCheckedListCtrl*>(child);
        if (list == nullptr)
            list = FindList(*child);
        if (list != nullptr)
            return list;
    }
    return nullptr;
}

long TickAll(const MainFrame& frame) {
    auto* list = FindList(frame);
    const long rows = list->GetItemCount();
    for (long row = 0; row < rows; ++row)
        list->SetChecked(row, true);
    return rows;
}

/// The least that survives a power cut: a new file on the medium, then its name on the medium.
void WriteSynced(const std::string& content) {
    const std::string fresh = std::string(File) + ".fresh";
    const int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const int folder = open(Folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool written = write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
                         fsync(file) == 0 && rename(fresh.c_str(), (std::string(File) + ".peer").c_str()) == 0 &&
                         fsync(folder) == 0;
    close(folder);
    close(file);
    if (!written) {
        std::perror("bench_save");
        std::exit(EXIT_FAILURE);
    }
}

void Register(MainFrame& frame) {
    const long readers = TickAll(frame);
    frame.Save(); // from now on each press finds what the one before has written
    const WriteCounter counter;
    frame.Save();
    const int writes = counter.Count();
    pt::ptree tree;
    pt::read_xml(File, tree, pt::xml_parser::trim_whitespace);
    const char* disk = std::getenv("BENCH_DISK"); // says in the row's name where /etc/vantor is
    const std::string row = std::string("OK, ") + (disk ? disk : "disk") + ", " + std::to_string(readers) +
                            (readers == 1 ? " reader, " : " readers, ") + std::to_string(writes) + " writes of " +
                            std::to_string(std::filesystem::file_size(File)) + " B";
    const auto ours = [&frame] { frame.Save(); };
    compare(row, ours, [tree, writes] {
        for (int i = 0; i < writes; ++i)
            pt::write_xml(std::string(File) + ".peer", tree, std::locale(),
                          pt::xml_writer_settings<std::string>(' ', 0, "utf-8"));
    });
    std::ostringstream document;
    pt::write_xml(document, tree, pt::xml_writer_settings<std::string>(' ', 0, "utf-8"));
    compare(row + ", to the limit", ours, [content = document.str(), writes] {
        for (int i = 0; i < writes; ++i)
            WriteSynced(content);
    });
}

} // namespace

int main(int argc, char* argv[]) {
    if (!std::getenv("LUMOADMIN_SANDBOX")) {
        std::fprintf(stderr, "bench_save: start me under scripts/sandbox\n");
        return 64;
    }
    wxApp::SetInstance(new wxApp);
    int none = 0;
    if (!wxEntryStart(none, static_cast<char**>(nullptr)))
        return 70;
    GenerateConfig();
    GenerateFileSystem();
    auto* frame = new MainFrame(nullptr);
    Register(*frame);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    frame->Destroy();
    wxEntryCleanup();
    return 0;
}
