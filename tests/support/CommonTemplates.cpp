#include "tests/support/Common.h"

template class std::basic_string<char>;
template class std::vector<std::string>;
template class testing::internal::MatcherBase<const std::string&>;
template class testing::internal::MatcherBase<std::string>;
template class testing::internal::MatcherBase<const std::vector<std::string>&>;
template class std::vector<testing::Matcher<const std::string&>>;
template class std::unique_ptr<std::string>;
template class std::unique_ptr<std::stringstream>;
