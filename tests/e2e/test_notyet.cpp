// A job that needs what this build cannot do yet stops at input with -2 and
// one line naming it: never a normal end with a result that ignores it, never
// a signal. A kind that is built runs to its normal end.
#include <gtest/gtest.h>

#include "e2e/kinds.hpp"
#include "testutil.hpp"

using namespace ossa;

TEST(NotYet, EveryMissingCapabilityIsANumberedInputStop) {
  for (const auto& k : test::kind_decks()) {
    test::ScratchDir dir;
    test::write_file("EXEC.INP", k.deck);
    const auto r = test::run_ossa(60);
    EXPECT_EQ(r.status, 0) << k.what << "\n" << r.err;
    EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << k.what;
    EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << k.what;
    if (k.built) {
      EXPECT_TRUE(r.out.ends_with("##$$ExSv end 1 1\n")) << k.what << "\n" << test::read_file("EXEC.LOG");
      continue;
    }
    EXPECT_EQ(r.out, "##$$ExSv end -2 0\n") << k.what;  // before any step
    const std::string log = test::read_file("EXEC.LOG");
    EXPECT_NE(log.find("\n\n " + std::string(k.what) + " IS NOT AVAILABLE IN THIS VERSION.\n *** ERROR NO. ***\n  -2  0\n"),
              std::string::npos)
        << k.what << "\n" << log;
  }
}
