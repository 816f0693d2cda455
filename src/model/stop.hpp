// The common failure path and the job's reports: the error stop, the elapsed
// time report, allocation checks, progress and end lines.
#pragma once
#include <string>
#include <string_view>

#include "model/model.hpp"

namespace ossa::model {

// Writes a line to the log unit.
void LOGLINE(Model& m, std::string_view line);
// Hands what the log holds to the file, so that a watcher sees it now.
void LOGFLUSH(Model& m);
// A fatal message as routines write it: one empty line, then a blank and the text.
void LOGMSG(Model& m, std::string_view text);

// Writes " *** ERROR NO. ***", the two numbers, the time report and the end
// line, and ends the process with status 0.
[[noreturn]] void ERRSTOP(Model& m, int NO1, int NO2, int LOGUNIT);
// LOGMSG(text) followed by ERRSTOP on the log unit.
[[noreturn]] void FAIL(Model& m, std::string_view text, int NO1, int NO2 = 0);

// The elapsed-time report on the log unit.
void ELAPSED(Model& m, int LOGUNIT);

// Checks N allocation status words; the first non-zero one stops the job
// with "MEMORY ALLOCATION ERROR" and -5.
void ALLOCCHK(Model& m, const int* STATUS, int N, int NO2, int LOGUNIT);

// The budget test: when NEED words exceed FREE, writes the shortfall
// "(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER." with
// (NEED - FREE) * 4.0e-6 MB and stops with -5, NO2.
void BUDGETCHK(Model& m, long NEED, long FREE, int NO2);
// The same stop for a shortfall already in MB (reals count 8.0e-6 MB each).
[[noreturn]] void MEMSHORT(Model& m, double MB, int NO2);

// "##$$ExSv proc %d" with the integer part of 100 * time / end time.
int PROGRESS(double time, double tend);
void ENDLINE(int no1, int no2);

// The file layer's own stop, for input the numbered checks do not cover: the
// message goes to the log and standard error, and the process ends with a
// non-zero status and no end line.
[[noreturn]] void FILESTOP(Model& m, const std::string& message);

}  // namespace ossa::model
