// What most tests include, precompiled for them. Not to be included: each file includes what it uses, and is compiled
// without this one where LUMOADMIN_TEST_PCH is off.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// Compiled once, in CommonTemplates.cpp, instead of in nearly every test.
extern template class std::basic_string<char>;
extern template class std::vector<std::string>;
extern template class testing::internal::MatcherBase<const std::string&>;
extern template class testing::internal::MatcherBase<std::string>;
extern template class testing::internal::MatcherBase<const std::vector<std::string>&>;
extern template class std::vector<testing::Matcher<const std::string&>>;
extern template class std::unique_ptr<std::string>;
extern template class std::unique_ptr<std::stringstream>;
