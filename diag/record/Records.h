// What the probes find out, as plain values: nothing here calls PC/SC, reads a file or knows a language.
#pragma once

#include "config/ClientSettings.h"
#include "util/InstanceLock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Diag {

enum class ServiceState {
    Fine,
    NotInstalled,
    NotRunning,
    NotReachable,     ///< the daemon runs, its socket is missing
    NoPermission,     ///< the socket's permissions keep this user out
    Refused,          ///< the daemon closes the door on this user, as it does when polkit says no
    ProtocolMismatch, ///< daemon and client library are of different versions
    NotAnswering,     ///< no answer within the time limit
    NotAsked,         ///< the system gave no process to ask it with
    Failed,           ///< another PC/SC error, or a daemon that went away in between
};

/// A call that the system refused.
struct SystemError {
    std::string call; ///< "fork"
    int number = 0;   ///< errno; 0: none was refused
};

/// The PC/SC daemon as this user meets it.
struct Service {
    ServiceState state = ServiceState::Failed;
    long code = 0;            ///< PC/SC result of asking for a context; 0 when it never came back
    std::string call;         ///< the call that did not return, for NotAnswering
    std::string socket;       ///< path that the client library uses
    std::string program;      ///< path of the daemon's program; empty: not found
    int process = 0;          ///< process id of a running daemon; 0: none to be seen
    char processState = '\0'; ///< as ps(1) writes it, 'T' for stopped
    bool answered = true;     ///< the code came back
    SystemError obstacle;     ///< for NotAsked: why
};

/// A log line that begins so ends with a reader's name.
constexpr char AsksReader[] = "lumodiag asks reader ";

/// One driver attribute (PC/SC part 3).
struct Attribute {
    unsigned long tag = 0;
    long code = 0;     ///< PC/SC result of reading it
    std::string bytes; ///< as the driver gave them; empty on failure
};

/// One PC/SC reader. Codes are PC/SC results.
struct Reader {
    std::string name;
    long statusCode = 0;     ///< of asking for the reader's state
    unsigned long state = 0; ///< SCARD_STATE_ bits before we connected: what other programs did
    std::string atr;         ///< bytes of the card's answer to reset
    bool connected = false;  ///< attributes and features could be asked
    bool direct = false;     ///< connected to the reader alone, there being no card that answers
    long cardCode = 0;       ///< of connecting to the card
    long directCode = 0;     ///< of connecting to the reader alone
    unsigned long protocol = 0;
    std::vector<Attribute> attributes; ///< the six that identify a reader; those not reached are missing
    long channelCode = 0;              ///< of reading SCARD_ATTR_CHANNEL_ID
    std::string channel;               ///< its bytes
    bool featuresAsked = false;
    long featuresCode = 0;       ///< of CM_IOCTL_GET_FEATURE_REQUEST
    std::string features;        ///< its answer, TLV records (PC/SC part 10)
    bool isSecure = false;       ///< the reader code's verdict, from the features
    std::string hangingCall;     ///< the PC/SC call that did not return; empty: all did
    bool asked = false;          ///< false: the service went away before this reader's turn
    bool isSecureByName = false; ///< the verdict of the table of known models
};

/// Whether another program uses the reader, and whether it lets no other in.
[[nodiscard]] bool IsInUse(const Reader& reader);
[[nodiscard]] bool IsHeld(const Reader& reader);
/// Whether the service was gone when this reader was asked.
[[nodiscard]] bool LostService(const Reader& reader);

/// A device on USB with an interface of the smart-card class.
struct UsbReader {
    std::string port; ///< as the kernel names it, "1-1.2"
    std::string vendorId;
    std::string productId; ///< both four hexadecimal digits
    std::string manufacturer;
    std::string product;
    std::string serial;
    std::string driver; ///< kernel driver of the interface; "usbfs" while a program such as the daemon has it
    int bus = 0;
    int device = 0;
    bool isListed = false; ///< PC/SC lists a reader that is this device
};

/// A file or folder as far as rights go.
struct FileFacts {
    std::string path;
    bool exists = false;
    bool isRegular = false;
    bool isFolder = false;
    std::string owner;
    std::string group;
    unsigned mode = 0; ///< permission bits
    std::int64_t size = 0;
    std::int64_t modified = 0;  ///< seconds since the epoch
    bool readable = false;      ///< by this user
    bool writable = false;      ///< by this user: saving would take effect
    int obstacle = 0;           ///< errno: why it is not writable, or not there; 0: it is
    bool isLink = false;        ///< the name is a symbolic link's
    std::string target = {};    ///< where that leads, as it is written there
    std::string linkOwner = {}; ///< whose link it is
    bool isFollowed = true;     ///< false: a link of somebody else's; all that is told is the link's own
    unsigned ownerId = 0;
    unsigned long names = 1; ///< hard links
};

/// A line of a file and what is wrong there.
struct FileProblem {
    unsigned long line = 0; ///< from 1 on; 0: the file as a whole
    std::string path;       ///< of the element, with its value; may be empty
    std::string text;       ///< message id, or a parser's own words, which repeat nothing of the file
};

/// Somebody whom an access control list lets write.
struct OtherWriter {
    std::string path;       ///< of the file or folder that has the list
    bool isDefault = false; ///< of what is made in the folder, not of the folder
    bool isGroup = false;
    std::string name;
};

struct ConfigurationFile {
    FileFacts file;
    FileFacts folder;
    bool parsed = false;
    std::optional<FileProblem> malformed;    ///< why it was not parsed
    std::optional<FileProblem> notStrict;    ///< for what readers of XML that keep to its rules refuse it
    std::optional<FileProblem> documentType; ///< that it has one, for which it is not checked further
    std::vector<FileProblem> invalid;        ///< what the schema says against it; a last "..." stands for many more
    std::vector<std::string> unread;         ///< paths of elements that no program of the product reads; likewise
    bool putAside = false;                   ///< a file "config.unreadable" lies beside it
    bool hasForeignOwner = false; ///< neither root nor anybody who may save owns the file, or the link in its place
    bool isFolderOpen = false;    ///< others than root and the group could put something else in its place
    std::vector<OtherWriter> otherWriters; ///< of the folders and the file
};

struct ConfigurationState {
    ConfigurationFile machine;
    ConfigurationFile user;
    ClientSettings::Record settings; ///< of the machine's file, the only one that settings are read from
    bool isRoot = false;             ///< this user is root
    bool isMember = false;           ///< this process is in the group whose members may save
};

struct LogFileFacts {
    std::string name;
    std::int64_t size = 0;
    std::int64_t modified = 0;
};

struct LogDirectory {
    std::string path;
    bool exists = false;
    bool writable = false; ///< this user may make files in it, or could make the folder itself
    bool readable = false;
    std::vector<LogFileFacts> files; ///< newest first
    bool isHidden = false;           ///< behind a folder that is closed to this user, so that it may exist
};

struct LogState {
    LogDirectory client; ///< of the PKCS#11 module
    LogDirectory miniDriver;
};

struct Report {
    std::string version;
    std::int64_t time = 0; ///< seconds since the epoch
    Service service;
    long listCode = 0;   ///< PC/SC result of listing the readers
    bool listed = false; ///< it came back
    std::vector<Reader> readers;
    std::vector<UsbReader> usbReaders;
    ConfigurationState configuration;
    LogState logs;
    std::optional<Vantor::RunningCopy> openWindow; ///< this user's
};

} // namespace Diag
