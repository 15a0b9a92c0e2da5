// TestSupport::checkUnderSeeds: a RapidCheck property played under fixed seeds,
// so that every run plays the same cases and a failure comes back; a failing
// case is shrunk before it is printed, with the seed that found it.
#pragma once

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstdint>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

namespace TestSupport {

template <class Property>
void checkUnderSeeds(char const* description, std::initializer_list<std::uint64_t> seeds,
                     rc::detail::TestParams params, Property const& property) {
   rc::detail::TestMetadata metadata;
   metadata.id = metadata.description = description;
   for (std::uint64_t seed : seeds) {
      params.seed = seed;
      rc::detail::TestResult const result = rc::detail::checkTestable(property, metadata, params);
      std::ostringstream os;
      rc::detail::printResultMessage(result, os);
      EXPECT_TRUE(result.is<rc::detail::SuccessResult>()) << "seed " << seed << "\n" << os.str();
   }
}

// Fails the current case when `findings` is not empty: the steps played so far
// (`steps`, one per line), `heading`, then each finding.
inline void failIfAny(std::string const& steps, char const* heading,
                      std::vector<std::string> const& findings) {
   if (findings.empty()) return;
   std::ostringstream os;
   os << "steps:\n" << steps << heading << ":\n";
   for (auto const& f : findings)
      os << "  " << f << "\n";
   RC_FAIL(os.str());
}

}  // namespace TestSupport
