// What was read can be written, and reading that again gives the same: saving twice changes nothing more.

#include "config/XmlDocument.h"
#include "tests/fuzz/Fuzz.h"

#include <boost/property_tree/ptree.hpp>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using Vantor::FormatXml;
    using Vantor::ParseXml;
    boost::property_tree::ptree first;
    if (!ParseXml(std::string(reinterpret_cast<const char*>(data), size), first)) {
        return 0;
    }
    std::string once;
    fuzz::require(FormatXml(first, once), "what was read can be written");
    boost::property_tree::ptree second;
    fuzz::require(ParseXml(once, second), "what was written can be read");
    fuzz::require(first == second, "it reads as the same tree");
    std::string twice;
    fuzz::require(FormatXml(second, twice) && once == twice, "and is written as the same bytes");
    return 0;
}
