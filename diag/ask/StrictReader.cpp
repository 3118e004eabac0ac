#include "diag/ask/StrictReader.h"

#include "diag/ask/Excerpt.h"
#include "diag/record/Mark.h"

#include <expat.h>

#include <algorithm>
#include <memory>
#include <type_traits>

#include <strings.h>

namespace Diag {

namespace {

struct Freed {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

using Parser = std::unique_ptr<std::remove_pointer_t<XML_Parser>, Freed>;

struct Reading {
    XML_Parser parser;
    StrictVerdict verdict;
};

unsigned long LineOf(XML_Parser parser) {
    return static_cast<unsigned long>(XML_GetCurrentLineNumber(parser));
}

/// Before the first of its declarations is read.
void XMLCALL StopAtDocumentType(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    auto& reading = *static_cast<Reading*>(data);
    reading.verdict.documentType = FileProblem{LineOf(reading.parser), {}, Mark("ein Dokumenttyp (DOCTYPE)")};
    XML_StopParser(reading.parser, XML_FALSE);
}

/// A reader that believes it reads other characters than the tool does, which takes the bytes for UTF-8 and says so in
/// what it writes.
void XMLCALL TakeDeclaration(void* data, const XML_Char*, const XML_Char* encoding, int) {
    auto& reading = *static_cast<Reading*>(data);
    const auto is = [encoding](const char* name) { return strcasecmp(encoding, name) == 0; };
    if (encoding != nullptr && !is("UTF-8") && !is("US-ASCII")) {
        reading.verdict.refusal =
            FileProblem{LineOf(reading.parser), Excerpt(encoding), Mark("nennt eine andere Kodierung als UTF-8")};
    }
}

/// In our words what is likely in a file that people edit; else in the parser's.
const char* Words(XML_Error error) {
    switch (error) {
    case XML_ERROR_TAG_MISMATCH:
        return Mark("ein Ende, das nicht zu seinem Anfang passt");
    case XML_ERROR_JUNK_AFTER_DOC_ELEMENT:
        return Mark("etwas hinter dem Wurzelelement");
    case XML_ERROR_DUPLICATE_ATTRIBUTE:
        return Mark("ein Attribut steht zweimal");
    case XML_ERROR_INVALID_TOKEN:
    case XML_ERROR_PARTIAL_CHAR:
    case XML_ERROR_BAD_CHAR_REF:
        return Mark("ein Zeichen, das hier nicht stehen darf, oder kein UTF-8");
    case XML_ERROR_NO_ELEMENTS:
        return Mark("kein Element");
    default:
        return XML_ErrorString(error);
    }
}

/// The byte at which the reader stopped, where showing it helps: one that most editors do not.
std::string ByteAt(const std::string& document, XML_Index place) {
    const auto at = static_cast<std::size_t>(std::max<XML_Index>(place, 0));
    const char byte = at < document.size() ? document[at] : ' ';
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20 || value >= 0x7F ? std::string(1, byte) : std::string();
}

} // namespace

StrictVerdict AskStrictReader(const std::string& document) {
    const Parser parser(XML_ParserCreate("UTF-8"));
    if (!parser) {
        return {};
    }
    Reading reading{parser.get(), {}};
    XML_SetUserData(parser.get(), &reading);
    XML_SetStartDoctypeDeclHandler(parser.get(), StopAtDocumentType);
    XML_SetXmlDeclHandler(parser.get(), TakeDeclaration);
    const bool isRead =
        XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), XML_TRUE) == XML_STATUS_OK;
    const bool isStopped = reading.verdict.documentType.has_value();
    if (!isRead && !isStopped && !reading.verdict.refusal) {
        const XML_Error error = XML_GetErrorCode(parser.get());
        const bool isCharacter = error == XML_ERROR_INVALID_TOKEN || error == XML_ERROR_PARTIAL_CHAR;
        reading.verdict.refusal = FileProblem{
            LineOf(parser.get()), isCharacter ? ByteAt(document, XML_GetCurrentByteIndex(parser.get())) : std::string(),
            Words(error)};
    }
    return reading.verdict;
}

} // namespace Diag
