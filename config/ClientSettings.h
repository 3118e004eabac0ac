// What the lumo Client's file means: the names, words and numbers that the client knows, and a plain record of its
// settings.
#pragma once

#include <boost/property_tree/ptree_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ClientSettings {

/// Every sub-tree of the client whose name begins so is a reader, except for the settings sub-tree.
constexpr char ReaderPrefix[] = "Reader";
constexpr char SettingsElement[] = "Reader_Settings"; ///< the settings sub-tree in the file
constexpr char PcscKind[] = "PCSC Reader";            ///< `Reader` of every PC/SC reader
constexpr char AnyName[] = "*";                       ///< `ReaderName` where any reader may be used

constexpr char LogFileName[] = "lumop11.log"; ///< of the PKCS#11 module, in its log directory

/// The keys of a reader sub-tree.
namespace ReaderKey {

constexpr char IsSecure[] = "IsSecure";
constexpr char Reader[] = "Reader";
constexpr char ReaderName[] = "ReaderName";
constexpr char UseGUI[] = "UseGUI";
constexpr char UseBeep[] = "UseBeep";
constexpr char UserMessage[] = "UserMessage";
constexpr char CTAPI[] = "CTAPI"; ///< there and not empty: a CT-API reader
constexpr char CTPort[] = "CTPort";
constexpr char CloseOnExit[] = "CloseOnExit";

} // namespace ReaderKey

/// True for the name of a sub-tree that is a reader, as it is registered ("Reader Settings") or in the file
/// ("Reader_Settings").
[[nodiscard]] bool IsReader(const std::string& subTree);

/// True for the pattern that allows any reader. It counts only where it is the one reader of the file.
[[nodiscard]] bool IsAnyReader(const std::string& kind, const std::string& name);

/// True for a text of nothing but white space.
[[nodiscard]] bool IsBlank(const std::string& text);

/// False for an element with a blank text and no child elements. It counts as missing, because removing a setting
/// leaves an empty element behind.
[[nodiscard]] bool HasContent(const boost::property_tree::ptree& element);

enum class Language { System, English, German };

/// `Language` in the file. The client numbers languages as an older toolkit did; the first variant of each is stored.
constexpr long EnglishNumber = 58;
constexpr long GermanNumber = 89;

/// The language of a number: 0 and 1 the system's, 58 to 73 English and its variants, 89 to 94 German and its variants,
/// nothing for any other.
[[nodiscard]] std::optional<Language> LanguageOfNumber(long number);

/// How an element is read.
enum class ValueType {
    Text,
    Number,     ///< decimal, of 32 bits
    TruthValue, ///< "true", "false", "1" or "0"
    Word,       ///< yes or no, see Vantor::IsYes
    Section,    ///< none: it holds elements
};

/// Elements by their names.
using Elements = std::map<std::string, ValueType>;

/// Elements by the path of their parent below the root element ("lumo_Client/Trace"; "" for the root): all registered
/// settings and the sections that hold them. Reader sub-trees are not among them.
[[nodiscard]] const std::map<std::string, Elements>& KnownElements();
/// Those of a reader sub-tree.
[[nodiscard]] const Elements& ReaderElements();

struct StoredReader {
    std::string element;
    std::string kind;
    std::string name;
    std::string library; ///< CT-API library; empty for PC/SC
    bool isSecure = false;
};

/// The settings as they are stored. What is missing, or is no number where one is due, is empty.
struct Record {
    std::vector<StoredReader> readers; ///< in the order of the file
    bool hasMoreReaders = false;       ///< than were wanted
    std::optional<long> traceLevel;
    std::optional<long> traceMode;
    std::string traceFile;
    std::optional<long> miniDriverLogging;
    std::optional<long> language;
    std::string clientVersion;
};

/// Reads the record from the tree of a whole file, with no more than so many of its readers.
[[nodiscard]] Record Read(const boost::property_tree::ptree& file, std::size_t mostReaders = SIZE_MAX);

/// True where any reader may be used.
[[nodiscard]] bool IsAnyReader(const Record& record);

} // namespace ClientSettings
