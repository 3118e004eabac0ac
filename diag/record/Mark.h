// Texts in tables of those who find something out and leave its wording to others.
#pragma once

namespace Diag {

/// Marks a text in a table for translation; it is translated where it is shown.
constexpr const char* Mark(const char* message) {
    return message;
}

} // namespace Diag
