// What readers of XML that keep to its rules make of a document.
#pragma once

#include "diag/record/Records.h"

#include <optional>
#include <string>

namespace Diag {

struct StrictVerdict {
    std::optional<FileProblem> refusal;      ///< the first thing for which such a reader refuses the document
    std::optional<FileProblem> documentType; ///< where its document type begins, at which the reading stops
};

/// Reads the document as UTF-8, whatever it says of itself. Expands no entity and opens no other file.
[[nodiscard]] StrictVerdict AskStrictReader(const std::string& document);

} // namespace Diag
