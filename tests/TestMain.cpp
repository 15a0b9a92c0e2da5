// Test main of every test binary: after each test, the allocation counters of
// every counted class and every keyed map must be back where they were before it.
#include <gtest/gtest.h>

#include "Fen/AllocTrack.h"

namespace {

class LeakCheck : public testing::EmptyTestEventListener {
   void OnTestStart(testing::TestInfo const&) override { before_ = Fen::AllocSnapshot::now(); }
   void OnTestEnd(testing::TestInfo const&) override {
      Fen::String const leaks = Fen::AllocSnapshot::now().differencesFrom(before_);
      EXPECT_TRUE(leaks.empty()) << "objects still live after the test:\n" << leaks;
   }
   Fen::AllocSnapshot before_;
};

}  // namespace

int main(int argc, char** argv) {
   testing::InitGoogleTest(&argc, argv);
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck);
   return RUN_ALL_TESTS();
}
