#include "diag/SchemaCheck.h"

#include "diag/ConfigurationSchema.h"

#include <libxml/parser.h>
#include <libxml/relaxng.h>

#include <algorithm>
#include <memory>

namespace Diag {

namespace {

template <typename T, void (*Free)(T*)>
struct Freed {
    void operator()(T* object) const { Free(object); }
};

using Document = std::unique_ptr<xmlDoc, Freed<xmlDoc, xmlFreeDoc>>;
using Schema = std::unique_ptr<xmlRelaxNG, Freed<xmlRelaxNG, xmlRelaxNGFree>>;
using SchemaParser = std::unique_ptr<xmlRelaxNGParserCtxt, Freed<xmlRelaxNGParserCtxt, xmlRelaxNGFreeParserCtxt>>;
using Validator = std::unique_ptr<xmlRelaxNGValidCtxt, Freed<xmlRelaxNGValidCtxt, xmlRelaxNGFreeValidCtxt>>;

void Collect(void* problems, xmlErrorPtr error) {
    std::string text = error->message == nullptr ? std::string() : error->message;
    text.erase(text.find_last_not_of(" \n") + 1);
    const auto line = static_cast<unsigned long>(std::max(error->line, 0));
    static_cast<std::vector<FileProblem>*>(problems)->push_back({line, text});
}

Schema LoadSchema() {
    const SchemaParser parser(
        xmlRelaxNGNewMemParserCtxt(ConfigurationSchema, static_cast<int>(ConfigurationSchemaSize)));
    return Schema(parser ? xmlRelaxNGParse(parser.get()) : nullptr);
}

} // namespace

std::vector<FileProblem> CheckAgainstSchema(const std::string& document) {
    std::vector<FileProblem> problems;
    xmlSetStructuredErrorFunc(&problems, Collect);
    const Document tree(xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr,
                                      XML_PARSE_NONET | XML_PARSE_BIG_LINES));
    if (tree) {
        const Schema schema = LoadSchema();
        const Validator validator(schema ? xmlRelaxNGNewValidCtxt(schema.get()) : nullptr);
        if (validator) {
            xmlRelaxNGSetValidStructuredErrors(validator.get(), Collect, &problems);
            xmlRelaxNGValidateDoc(validator.get(), tree.get());
        }
    }
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    std::stable_sort(problems.begin(), problems.end(),
                     [](const FileProblem& a, const FileProblem& b) { return a.line < b.line; });
    return problems;
}

} // namespace Diag
