// PNG plots of a job through gnuplot: the load-displacement history of
// chosen nodes with the reaction sum, and the residual norms per iteration
// read from the log.
#pragma once
#include <string>
#include <vector>

namespace ossa::post {

// One row of the log's residual table.
struct ResidRow {
  int STEP = 0, ITER = 0;
  double RELM = 0.0, RESNORM = 0.0, RELN = 0.0;  // REL RES(M), RES NORM, REL RES(N)
};

// The residual table of a log; "" when read (an empty table is no error).
std::string LOGRESID(const std::string& log, std::vector<ResidRow>& rows);

// History rows: time, |R| of the reaction sum, then |u| of each node.
struct HistRow {
  double TIME = 0.0, REACT = 0.0;
  std::vector<double> U;
};

// Writes PNG files through gnuplot: `hist_png` from the history of the
// nodes `ids`, `res_png` from the residual rows (skipped when none).
// "" when written, else why not (gnuplot missing or failing included).
std::string PLOTPNG(const std::vector<int>& ids, const std::vector<HistRow>& hist, const std::vector<ResidRow>& res,
                    const std::string& hist_png, const std::string& res_png);

}  // namespace ossa::post
