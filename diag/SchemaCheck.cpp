#include "diag/SchemaCheck.h"

#include "diag/ConfigurationSchema.h"
#include "diag/Language.h"

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

/// Looking for the culprit validates once for each element; a file with more of them is told about as a whole.
constexpr std::size_t MostElements = 1000;
/// The file's own value is quoted no further than this.
constexpr std::size_t LongestQuote = 40;

void Collect(void* problems, xmlErrorPtr error) {
    std::string text = error->message == nullptr ? std::string() : error->message;
    text.erase(text.find_last_not_of(" \n") + 1);
    const auto line = static_cast<unsigned long>(std::max(error->line, 0));
    static_cast<std::vector<FileProblem>*>(problems)->push_back({line, {}, text, true});
}

Schema LoadSchema() {
    const SchemaParser parser(
        xmlRelaxNGNewMemParserCtxt(ConfigurationSchema, static_cast<int>(ConfigurationSchemaSize)));
    return Schema(parser ? xmlRelaxNGParse(parser.get()) : nullptr);
}

/// @return what is wrong; empty for a valid document
std::vector<FileProblem> Validate(xmlRelaxNG* schema, xmlDoc* document) {
    std::vector<FileProblem> problems;
    const Validator validator(xmlRelaxNGNewValidCtxt(schema));
    if (validator) {
        xmlRelaxNGSetValidStructuredErrors(validator.get(), Collect, &problems);
        xmlRelaxNGValidateDoc(validator.get(), document);
    }
    return problems;
}

std::vector<xmlNode*> ChildElements(xmlNode* parent) {
    std::vector<xmlNode*> children;
    for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            children.push_back(child);
        }
    }
    return children;
}

void CollectElements(xmlNode* element, std::vector<xmlNode*>& elements) {
    elements.push_back(element);
    for (xmlNode* const child : ChildElements(element)) {
        CollectElements(child, elements);
    }
}

std::string TextOf(const xmlNode* element) {
    xmlChar* const content = xmlNodeGetContent(element);
    std::string text = content == nullptr ? std::string() : reinterpret_cast<const char*>(content);
    xmlFree(content);
    return text;
}

std::string PathOf(const xmlNode* element) {
    const std::string name = reinterpret_cast<const char*>(element->name);
    const bool isRoot = element->parent == nullptr || element->parent->type != XML_ELEMENT_NODE;
    return isRoot ? name : PathOf(element->parent) + "/" + name;
}

FileProblem Blame(xmlNode* element, const char* message, const std::string& value = {}) {
    const auto line = static_cast<unsigned long>(std::max(xmlGetLineNo(element), 0L));
    const std::string quote = value.size() > LongestQuote ? value.substr(0, LongestQuote) + "..." : value;
    return {line, PathOf(element) + (value.empty() ? "" : " \"" + quote + "\""), message};
}

/// Takes an element out of its document for a while.
class Absence {
public:
    explicit Absence(xmlNode* absentee) : element(absentee), parent(absentee->parent), next(absentee->next) {
        xmlUnlinkNode(element);
    }
    ~Absence() {
        if (next != nullptr) {
            xmlAddPrevSibling(next, element);
        } else {
            xmlAddChild(parent, element);
        }
    }
    Absence(const Absence&) = delete;
    Absence& operator=(const Absence&) = delete;

private:
    xmlNode* element;
    xmlNode* parent;
    xmlNode* next;
};

/// Absences that end in the opposite order, so that each finds its neighbour where it was.
class Absences {
public:
    Absences() = default;
    ~Absences() {
        while (!all.empty()) {
            all.pop_back();
        }
    }
    Absences(const Absences&) = delete;
    Absences& operator=(const Absences&) = delete;

    void AddAllBut(xmlNode* one, const std::vector<xmlNode*>& elements) {
        for (xmlNode* const element : elements) {
            if (element != one) {
                all.push_back(std::make_unique<Absence>(element));
            }
        }
    }

private:
    std::vector<std::unique_ptr<Absence>> all;
};

/// Finds the elements that make a document invalid. The validator itself blames their parents. It rests on two
/// properties of the schema: an element without text is valid wherever one with text is, and the elements of the first
/// two levels do not need each other.
class Detective {
public:
    Detective(xmlRelaxNG* usedSchema, xmlDoc* suspect)
        : schema(usedSchema), document(suspect), root(xmlDocGetRootElement(suspect)) {}

    std::vector<FileProblem> Run() {
        std::vector<xmlNode*> elements;
        CollectElements(root, elements);
        if (elements.size() > MostElements) {
            return {};
        }
        const auto isParent = [](xmlNode* element) { return !ChildElements(element).empty(); };
        elements.erase(std::remove_if(elements.begin(), elements.end(), isParent), elements.end());
        std::vector<std::string> texts;
        for (xmlNode* const leaf : elements) {
            texts.push_back(TextOf(leaf));
            xmlNodeSetContent(leaf, nullptr);
        }
        return IsValid() ? BlameValues(elements, texts) : BlameStructure();
    }

private:
    bool IsValid() { return Validate(schema, document).empty(); }

    std::vector<FileProblem> BlameValues(const std::vector<xmlNode*>& leaves, const std::vector<std::string>& texts) {
        std::vector<FileProblem> problems;
        for (std::size_t i = 0; i < leaves.size(); ++i) {
            xmlNodeAddContent(leaves[i], reinterpret_cast<const xmlChar*>(texts[i].c_str()));
            if (!IsValid()) {
                problems.push_back(Blame(leaves[i], Mark("unzulässiger Wert"), texts[i]));
            }
            xmlNodeSetContent(leaves[i], nullptr);
        }
        return problems;
    }

    std::vector<FileProblem> BlameStructure() {
        std::vector<FileProblem> problems;
        const std::vector<xmlNode*> sections = ChildElements(root);
        for (xmlNode* const section : sections) {
            Absences others;
            others.AddAllBut(section, sections);
            BlameSection(section, problems);
        }
        if (problems.empty()) {
            BlameDoubles(problems);
        }
        return problems;
    }

    void BlameSection(xmlNode* section, std::vector<FileProblem>& problems) {
        const std::vector<xmlNode*> children = ChildElements(section);
        for (xmlNode* const child : children) {
            Absences others;
            others.AddAllBut(child, children);
            if (!IsValid()) {
                problems.push_back(BlameWithin(child));
            }
        }
    }

    FileProblem BlameWithin(xmlNode* element) {
        const std::vector<xmlNode*> children = ChildElements(element);
        for (xmlNode* const child : children) {
            const Absence absence(child);
            // An element that is left empty counts as removed, which says nothing about its child.
            if (children.size() > 1 && IsValid()) {
                return BlameChild(child, element, Mark("hier nicht vorgesehen"));
            }
        }
        return Blame(element, Mark("fehlende oder überzählige Elemente"));
    }

    /// The child is out of its document and has no path of its own.
    static FileProblem BlameChild(xmlNode* child, xmlNode* parent, const char* message) {
        FileProblem problem = Blame(child, message);
        problem.path = PathOf(parent) + "/" + problem.path;
        return problem;
    }

    /// Leaving out either twin makes the document valid, and so would leaving out all that holds them.
    void BlameDoubles(std::vector<FileProblem>& problems) {
        std::vector<xmlNode*> elements;
        CollectElements(root, elements);
        for (xmlNode* const element : elements) {
            if (element == root) {
                continue;
            }
            xmlNode* const parent = element->parent;
            const Absence absence(element);
            if (IsValid()) {
                const FileProblem problem = BlameChild(element, parent, Mark("steht mehr als einmal"));
                const auto holdsIt = [&](const FileProblem& other) {
                    return problem.path.compare(0, other.path.size() + 1, other.path + "/") == 0;
                };
                problems.erase(std::remove_if(problems.begin(), problems.end(), holdsIt), problems.end());
                problems.push_back(problem);
            }
        }
    }

    xmlRelaxNG* schema;
    xmlDoc* document;
    xmlNode* root;
};

} // namespace

std::vector<FileProblem> CheckAgainstSchema(const std::string& document) {
    std::vector<FileProblem> problems;
    xmlSetStructuredErrorFunc(&problems, Collect);
    const Document tree(xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr,
                                      XML_PARSE_NONET | XML_PARSE_BIG_LINES));
    const Schema schema = LoadSchema();
    if (tree && schema) {
        problems = Validate(schema.get(), tree.get());
        if (!problems.empty()) {
            std::vector<FileProblem> culprits = Detective(schema.get(), tree.get()).Run();
            problems = culprits.empty() ? problems : culprits;
        }
    }
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    if (!tree && problems.empty()) {
        problems.push_back({0, {}, Mark("kein lesbares XML")});
    }
    std::stable_sort(problems.begin(), problems.end(),
                     [](const FileProblem& a, const FileProblem& b) { return a.line < b.line; });
    return problems;
}

} // namespace Diag
