// The output decision on step and time schedules, the step walk, and the
// floating-point mode of the run (denormals count as zero).
#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "job/job.hpp"
#include "model/model.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

// A model whose time table has `n` equal steps ending at `tend`.
void table(model::Model& m, int n, double tend) {
  model::MODELRESET(m);
  m.KK(kk::NSTEP) = n;
  ASSERT_TRUE(m.T.allocate(base::Dim(0, n)));
  for (int i = 1; i <= n; ++i) m.T(i) = m.T(i - 1) + tend / n;  // running sum, as the deck builds it
}

// The steps at which output happens, deciding after each step of the table.
std::vector<int> outputs(model::Model& m, int firstchg_from = 1000) {
  job::OutSched s = job::OUTINIT(m);
  std::vector<int> v;
  for (int st = 1; st <= m.NSTEP(); ++st)
    if (job::OUTSEL(m, m.T(st), s, st >= firstchg_from ? 1 : 0, 0)) v.push_back(st);
  return v;
}

}  // namespace

TEST(OutputDecision, StepAndTimeSchedules) {
  model::Model m;
  table(m, 10, 1.0);
  EXPECT_EQ(outputs(m), std::vector<int>{10});  // no interval: last step only
  m.KK(kk::OUTSTEP) = 3;
  EXPECT_EQ(outputs(m), (std::vector<int>{3, 6, 9, 10}));  // never beyond the last step
  m.KK(kk::OUTSTEP) = 2;
  m.KK(kk::OUTHOLD) = 1;
  EXPECT_EQ(outputs(m), std::vector<int>{10});             // held, no change ever: the end still writes
  EXPECT_EQ(outputs(m, 5), (std::vector<int>{6, 8, 10}));  // from the change on
  m.KK(kk::OUTHOLD) = 0;
  m.KK(kk::OUTBYTIME) = 1;
  m.RR(rr::OUTTIME) = 0.25;
  // 0.25 falls between stations: the first step at or past each output time writes.
  EXPECT_EQ(outputs(m), (std::vector<int>{3, 5, 8, 10}));
  m.RR(rr::OUTTIME) = 0.0;  // no interval: the end time only
  EXPECT_EQ(outputs(m), std::vector<int>{10});
  for (const double dt : {1.0e-13, 1.0e-20}) {  // finer than the steps, or than the clock
    m.RR(rr::OUTTIME) = dt;
    EXPECT_EQ(outputs(m).size(), 10u) << dt;
  }
  m.RR(rr::OUTTIME) = 0.3;
  m.KK(kk::OUTHOLD) = 1;
  EXPECT_EQ(outputs(m), std::vector<int>{10});
  EXPECT_EQ(outputs(m, 4), (std::vector<int>{6, 9, 10}));
  job::OutSched s = job::OUTINIT(m);
  EXPECT_EQ(job::OUTSEL(m, 0.1, s, 0, 1), 1);  // the stop flag always writes
  m.KK(kk::OUTBYTIME) = 2;                      // neither schedule
  EXPECT_EQ(job::OUTSEL(m, 1.0, s, 0, 0), 0);
}

TEST(StepWalk, EndsByTimeAndShowsProgress) {
  test::ScratchDir dir;  // the output writes its files here
  model::Model m;
  table(m, 3, 0.3);  // 0.1 + 0.1 + 0.1 falls short of 0.3 by rounding
  job::Walk w;
  w.NSUB = 2;
  testing::internal::CaptureStdout();
  job::STEPWALK(m, w, false);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(w.STEP, 3);
  EXPECT_NEAR(w.TIME, 0.3, 1e-12);
  EXPECT_EQ(w.NOUT, 1);
  EXPECT_EQ(out,
            "##$$ExSv proc 0\n##$$ExSv proc 16\n##$$ExSv proc 33\n##$$ExSv proc 50\n"
            "##$$ExSv proc 66\n##$$ExSv proc 83\n##$$ExSv proc 100\n");
}

TEST(FloatingPointControl, DenormalsCountAsZero) {
  volatile double tiny = DBL_MIN / 4.0, one = 1.0, small = DBL_MIN;
  job::FPCONTROL();
  EXPECT_EQ(tiny * one, 0.0);       // denormal input
  EXPECT_EQ(small * 0.25, 0.0);     // denormal result
  EXPECT_EQ(small * one, DBL_MIN);  // normal numbers are untouched
}
