// Texts that name a device, a person or this machine, found in whatever way they are written.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Diag {

/// Stands for what is left out.
constexpr char Ellipsis[] = "\xE2\x80\xA6";

/// The first characters of a serial number, at most three and no more than a third, and "…".
[[nodiscard]] std::string Shortened(const std::string& serial);

class Secrets {
public:
    /// Learns the people of this machine and its name.
    /// @param home  directory that is written "~"; may be empty
    explicit Secrets(const std::string& home);

    void LearnSerial(const std::string& bytes);
    /// A text that is replaced where it stands just so.
    void LearnText(const std::string& text, const std::string& replacement);

    using Filter = std::function<std::string(std::string_view)>;
    /// @param filter  for what stands between secrets
    [[nodiscard]] std::string Replace(std::string_view text, const Filter& filter) const;

private:
    /// Something to be replaced wherever it stands.
    struct Secret {
        std::string text;
        std::string replacement;
        std::string separators = {}; ///< may stand between its characters
        bool isExact = false;        ///< upper and lower case count
        bool isWord = false;         ///< counts only where no letter stands beside it
    };

    void LearnPerson(const std::string& name);
    void Learn(Secret secret);
    [[nodiscard]] const Secret* FindAt(std::string_view text, std::size_t at, std::size_t& length) const;

    std::vector<Secret> secrets; ///< longest first
};

} // namespace Diag
