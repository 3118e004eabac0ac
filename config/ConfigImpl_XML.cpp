#include "config/ConfigImpl_XML.h"

#include "config/TreeChange.h"
#include "config/XmlDocument.h"
#include "config/XmlScan.h"
#include "config/XmlWriter.h"
#include "posix/SystemCalls.h"
#include "util/Base64.h"
#include "util/FileAndDirectory.h"
#include "util/FilePlace.h"
#include "util/ReplaceFile.h"

#include <boost/property_tree/stream_translator.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <iterator>
#include <locale>
#include <optional>
#include <string_view>
#include <utility>

namespace Vantor {

namespace {

using Tree = ConfigImpl_XML::Tree;

constexpr char TreeSeparator = '.';

bool IsKnown(ConfigType type) {
    return type == CONFIG_USER || type == CONFIG_ALLUSERS;
}

char ToTreeCharacter(char c) {
    switch (c) {
    case '\\':
    case '/':
        return TreeSeparator;
    case '.':
    case ' ':
        return '_';
    default:
        return c;
    }
}

/// Numbers and truth values in their fixed form: the file is no place for a locale's digit groups.
template <typename T>
using Translator = boost::property_tree::stream_translator<char, std::char_traits<char>, std::allocator<char>, T>;

template <typename T>
std::string ToText(const T& value) {
    return Translator<T>(std::locale::classic()).put_value(value).get();
}

std::string ToText(const std::string& value) {
    return value;
}

template <typename T>
bool FromText(const std::string& text, T& value) {
    const auto converted = Translator<T>(std::locale::classic()).get_value(text);
    if (!converted) {
        return false;
    }
    value = *converted;
    return true;
}

bool FromText(const std::string& text, std::string& value) {
    value = text;
    return true;
}

/// Whether every element on the path can be written; a path that ends with the separator names a path node, whose own
/// value is read-only.
bool IsWritablePath(std::string_view path) {
    std::size_t depth = 0;
    while (++depth <= MaxXmlDepth) {
        const std::size_t end = path.find(TreeSeparator);
        if (!IsXmlName(path.substr(0, end))) {
            return false;
        }
        if (end == std::string_view::npos) {
            return true;
        }
        path.remove_prefix(end + 1);
    }
    return false;
}

/// The node at a path, null when there is none.
template <typename AnyTree>
AnyTree* FindNode(AnyTree& tree, const std::string& path) {
    const auto found = tree.get_child_optional(Tree::path_type(path, TreeSeparator));
    return found ? &*found : nullptr;
}

std::string MakeFileName(const std::string& base, const char* maker, const std::string& name) {
    const std::string directory = CombinePaths(CombinePaths(base, maker), name);
    if (!DirectoryExists(directory)) {
        CreateDirectories(CombinePaths(directory, ""));
    }
    return CombinePaths(directory, "config");
}

enum class Found { Nothing, Text, Unreadable };

/// A second hard link to a file that is closed to others is how somebody who may write in the folder, but not read the
/// file, would have root take in a secret and write it into a readable one.
bool MayBeTakenIn(const struct stat& status) {
    return S_ISREG(status.st_mode) && (status.st_nlink <= 1 || (status.st_mode & S_IROTH) != 0);
}

/// Fetches a whole file. Only regular files are read: a pipe of that name would never end.
Found FetchFile(const std::string& file, std::string& text) {
    // By the links that a save follows: what another's link leads to must not get into a file of ours.
    const FileDescriptor opened = FilePlace::Open(file).OpenFile(O_RDONLY);
    if (!opened.IsOpen()) {
        return errno == ENOENT || errno == ENOTDIR ? Found::Nothing : Found::Unreadable;
    }
    struct stat status = {};
    if (fstat(opened.Get(), &status) != 0 || !MayBeTakenIn(status) || status.st_size > static_cast<off_t>(MaxXmlSize)) {
        return Found::Unreadable;
    }
    text = ReadStart(opened, static_cast<std::size_t>(status.st_size));
    return static_cast<off_t>(text.size()) == status.st_size ? Found::Text : Found::Unreadable;
}

} // namespace

std::string ConfigImpl_XML::getPath(const sConfig* entry) {
    const std::string parts[] = {"config", entry->path};
    std::string path = BuildRegPath(parts, static_cast<int>(std::size(parts)));
    for (char& c : path) {
        c = ToTreeCharacter(c);
    }
    return path;
}

std::string ConfigImpl_XML::getPathKey(const sConfig* entry) {
    return getPath(entry) + entry->key;
}

bool ConfigImpl_XML::DoInit() {
    machine.file = MakeFileName(GetAllUsersDir(), "vantor", name);
    user.file = MakeFileName(GetUserDir(), ".vantor", name);
    read(CONFIG_ALLUSERS);
    read(CONFIG_USER);
    return true; // without files the program runs on its presets
}

bool ConfigImpl_XML::DoDestroy() {
    const bool machineWritten = write(CONFIG_ALLUSERS);
    const bool userWritten = write(CONFIG_USER);
    return machineWritten && userWritten;
}

bool ConfigImpl_XML::read(ConfigType type) {
    if (!IsKnown(type)) {
        return false;
    }
    Store& store = GetStore(type);
    store.tree.clear();
    std::string text;
    const Found found = FetchFile(store.file, text);
    const bool loaded = found == Found::Text && ParseXml(text, store.tree);
    store.unreadable = !loaded && found != Found::Nothing;
    return loaded;
}

bool ConfigImpl_XML::write(ConfigType type) {
    std::string document;
    return IsKnown(type) && FormatXml(GetPT(type), document) && WriteDocument(GetStore(type), document);
}

bool ConfigImpl_XML::WriteDocument(Store& store, const std::string& document) {
    if (!std::exchange(store.clearedUp, true)) {
        RemoveLeftovers(store.file);
    }
    // Once kept it stays so, whatever comes of the write: from now on the file may be one of ours.
    if (store.unreadable && !KeepFile(store.file, store.file + ".unreadable")) {
        return false;
    }
    store.unreadable = false;
    return ReplaceFile(store.file, document);
}

template <typename T>
bool ConfigImpl_XML::setValue(const sConfig* entry, const T& value) {
    const std::string path = getPathKey(entry);
    if (!IsWritablePath(path)) {
        return false;
    }
    try {
        TreeChange change(GetPT(entry->type), Tree::path_type(path, TreeSeparator), ToText(value));
        std::string document;
        if (!FormatXml(GetPT(entry->type), document)) {
            return false; // and the change is taken back
        }
        change.Keep();
        return IsKnown(entry->type) && WriteDocument(GetStore(entry->type), document);
    } catch (...) {
        return false;
    }
}

template <typename T>
bool ConfigImpl_XML::getValue(const sConfig* entry, T& value) {
    const Tree* const node = FindNode(GetPT(entry->type), getPathKey(entry));
    return node != nullptr && FromText(node->data(), value);
}

bool ConfigImpl_XML::SetInteger(sConfig* entry, long value) {
    return setValue(entry, value);
}

bool ConfigImpl_XML::SetString(sConfig* entry, const std::string& value) {
    return setValue(entry, value);
}

bool ConfigImpl_XML::SetBoolean(sConfig* entry, bool value) {
    return setValue(entry, value);
}

bool ConfigImpl_XML::SetBinary(sConfig* entry, std::vector<unsigned char>& value) {
    std::string text;
    b64encode(value, text, 0);
    return setValue(entry, text);
}

bool ConfigImpl_XML::GetInteger(sConfig* entry, long& value) {
    return getValue(entry, value);
}

bool ConfigImpl_XML::GetString(sConfig* entry, std::string& value) {
    return getValue(entry, value);
}

bool ConfigImpl_XML::GetBoolean(sConfig* entry, bool& value) {
    return getValue(entry, value);
}

bool ConfigImpl_XML::GetBinary(sConfig* entry, std::vector<unsigned char>& value) {
    std::string text;
    if (!getValue(entry, text)) {
        return false;
    }
    b64decode(text, value);
    return true;
}

std::vector<std::string> ConfigImpl_XML::EnumSubDirs(sConfig* entry, const std::string& prefix) {
    std::vector<std::string> names;
    const Tree* const node = FindNode(GetPT(entry->type), getPath(entry));
    if (node == nullptr) {
        return names;
    }
    names.reserve(node->size());
    for (const auto& child : *node) {
        if (IsXmlElement(child.first) && child.first.compare(0, prefix.size(), prefix) == 0) {
            names.push_back(child.first);
        }
    }
    return names;
}

bool ConfigImpl_XML::RemoveKey(sConfig* entry) {
    return RemoveAndWrite(entry, getPathKey(entry));
}

bool ConfigImpl_XML::RemovePath(sConfig* entry) {
    return RemoveAndWrite(entry, getPath(entry));
}

bool ConfigImpl_XML::RemoveAndWrite(const sConfig* entry, const std::string& path) {
    return remove(GetPT(entry->type), path) && write(entry->type);
}

bool ConfigImpl_XML::remove(Tree& tree, const std::string& path) const {
    // Every path begins with "config", so this empties the tree of a configuration of that very name only.
    Tree* const node = path == name + TreeSeparator ? &tree : FindNode(tree, path);
    if (node == nullptr) {
        return false;
    }
    node->clear(); // the element stays, empty: readers take it for a missing value
    return true;
}

} // namespace Vantor
