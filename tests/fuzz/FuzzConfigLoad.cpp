// Any text as a configuration file: taken in or refused, never a crash; the scan never sees less depth than there is.

#include "config/XmlDocument.h"
#include "config/XmlScan.h"
#include "tests/fuzz/Fuzz.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <string>

namespace {

std::size_t depthOf(const boost::property_tree::ptree& tree) {
    std::size_t deepest = 0;
    for (const auto& [name, child] : tree) {
        if (name != "<xmlattr>" && name != "<xmlcomment>") {
            deepest = std::max(deepest, 1 + depthOf(child));
        }
    }
    return deepest;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    boost::property_tree::ptree tree;
    tree.put("before", "untouched");
    if (Vantor::ParseXml(text, tree)) {
        fuzz::require(Vantor::ScanXml(text).complete, "a parsed text is complete");
        fuzz::require(depthOf(tree) <= Vantor::ScanXml(text).depth, "the scan sees all of the depth");
    } else {
        fuzz::require(tree.get<std::string>("before") == "untouched", "a refused text changes nothing");
    }
    return 0;
}
