// Test main of every test binary: after each test, the allocation counters of
// every counted class and every keyed map must be back where they were before it.
// WEXVM_HASH_SEED, when set, gives the process hash seed, so that a run that
// failed can be repeated with the order of its map walks; the seed in use is
// printed first.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "Fen/AllocTrack.h"
#include "Fen/Hash.h"

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
   if (char const* seed = std::getenv("WEXVM_HASH_SEED")) {
      Fen::hashSeed32Is(Fen::hashSeed32FromText(seed));
   }
   std::printf("hash seed %#x (WEXVM_HASH_SEED repeats it)\n", Fen::hashSeed32());
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck);
   return RUN_ALL_TESTS();
}
