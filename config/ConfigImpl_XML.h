// Storage backend that keeps the settings in two XML files, the machine's and the user's.
#pragma once

#include "config/Config.h"
#include "config/iConfigImpl.h"

#include <boost/property_tree/ptree.hpp>

namespace Vantor {

/// Holds both files in memory as trees; a change rewrites its file at once. What other processes write to a file after
/// the start is not seen and is replaced by the next change.
///
/// The files are /etc/vantor/NAME/config and HOME/.vantor/NAME/config; in them, one element for each path part and
/// key below the root element "config". A file that cannot be read leaves its tree empty and is kept as
/// "config.unreadable" beside it before the first change replaces it.
///
/// A change that XML cannot carry (a NUL byte, an element name that is empty or holds a blank, a document larger than
/// the reader accepts) is refused: false, file and tree as before. A change that cannot be written is false too, but
/// stays in memory.
class ConfigImpl_XML : public iConfigImpl {
public:
    using Tree = boost::property_tree::ptree;
    using iConfigImpl::EnumSubDirs;

    bool SetInteger(sConfig* entry, long value) override;
    bool SetString(sConfig* entry, const std::string& value) override;
    bool SetBoolean(sConfig* entry, bool value) override;
    /// Stored as Base64 (RFC 4648) without line breaks.
    bool SetBinary(sConfig* entry, std::vector<unsigned char>& value) override;
    bool GetInteger(sConfig* entry, long& value) override;
    bool GetString(sConfig* entry, std::string& value) override;
    bool GetBoolean(sConfig* entry, bool& value) override;
    bool GetBinary(sConfig* entry, std::vector<unsigned char>& value) override;
    /// Lists elements only: attributes and comments of a file made by hand are no sub-directories.
    std::vector<std::string> EnumSubDirs(sConfig* entry, const std::string& prefix) override;
    bool RemoveKey(sConfig* entry) override;
    bool RemovePath(sConfig* entry) override;
    /// Makes the directories of both files and reads the files; true whatever came of it.
    bool DoInit() override;
    /// Writes both files; true if both could be written.
    bool DoDestroy() override;

    /// Tree path of the entry's path node, element names separated and ended by "."; "/" separates parts like the
    /// backslash, blanks and dots become "_".
    static std::string getPath(const sConfig* entry);
    /// Tree path of the entry's value: the key is appended as it is.
    static std::string getPathKey(const sConfig* entry);

private:
    /// One of the two files.
    struct Store {
        Tree tree;
        std::string file;
        bool unreadable = false; ///< the file on disk holds something that we could not take in, and is not kept yet
        bool clearedUp = false;  ///< what killed programs left was looked for
    };

    Store& GetStore(ConfigType type) { return type == CONFIG_ALLUSERS ? machine : user; }
    Tree& GetPT(ConfigType type) { return GetStore(type).tree; }

    bool read(ConfigType type);
    bool write(ConfigType type);
    static bool WriteDocument(Store& store, const std::string& document);
    template <typename T>
    bool setValue(const sConfig* entry, const T& value);
    template <typename T>
    bool getValue(const sConfig* entry, T& value);
    bool remove(Tree& tree, const std::string& path) const;
    bool RemoveAndWrite(const sConfig* entry, const std::string& path);

    Store user;
    Store machine;
};

} // namespace Vantor
