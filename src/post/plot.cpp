// Plots by gnuplot (Debian gnuplot-nox): one small package with a PNG
// terminal, driven through a pipe with the data inline, so the tool needs
// no plotting library linked and no scripting runtime.
#include "post/plot.hpp"

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace ossa::post {

std::string LOGRESID(const std::string& log, std::vector<ResidRow>& rows) {
  std::ifstream in(log);
  if (!in) return "cannot open " + log;
  rows.clear();
  int step = 0;
  bool table = false;
  for (std::string l; std::getline(in, l);) {
    if (const auto p = l.find("***** STEP NO. ="); p != std::string::npos) {
      step = std::atoi(l.c_str() + p + 16);
      table = false;
    } else if (l.find("ITER    MAX RES") != std::string::npos) {
      table = true;
    } else if (table) {
      ResidRow r;
      double maxres = 0, maxrfc = 0, rhv = 0, t = 0;
      int n1 = 0, d1 = 0, n2 = 0, d2 = 0;
      if (std::sscanf(l.c_str(), "%d %lf %d %d %lf %d %d %lf %lf %lf %lf %lf", &r.ITER, &maxres, &n1, &d1, &maxrfc,
                      &n2, &d2, &r.RELM, &r.RESNORM, &rhv, &r.RELN, &t) == 12) {
        r.STEP = step;
        rows.push_back(r);
      } else if (!l.empty() && l.find_first_not_of(' ') != std::string::npos) {
        table = false;
      }
    }
  }
  return "";
}

namespace {

std::string run_gnuplot(const std::string& script) {
  std::FILE* p = popen("gnuplot 2>&1", "w");
  if (p == nullptr) return "cannot start gnuplot";
  std::fwrite(script.data(), 1, script.size(), p);
  const int st = pclose(p);
  if (WIFEXITED(st) && WEXITSTATUS(st) == 127) return "gnuplot is not installed (Debian package gnuplot-nox)";
  if (!WIFEXITED(st) || WEXITSTATUS(st) != 0) return "gnuplot failed";
  return "";
}

std::string num(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%.9g", v);
  return b;
}

std::string hist_script(const std::vector<int>& ids, const std::vector<HistRow>& hist, const std::string& png) {
  std::string s = "set terminal pngcairo size 1200,500\nset output '";
  s += png;
  s += "'\n$H << EOD\n0 0";
  for (std::size_t k = 0; k < ids.size(); ++k) s += " 0";
  s += "\n";
  for (const HistRow& h : hist) {
    s += num(h.TIME);
    s += ' ';
    s += num(h.REACT);
    for (double u : h.U) {
      s += ' ';
      s += num(u);
    }
    s += "\n";
  }
  s += "EOD\nset multiplot layout 1,2\nset grid\nset key left top\n"
       "set title 'load-displacement'\nset xlabel 'displacement |u|'\nset ylabel 'load factor (time)'\nplot ";
  for (std::size_t k = 0; k < ids.size(); ++k) {
    if (k > 0) s += ", ";
    s += "$H using ";
    s += std::to_string(k + 3);
    s += ":1 with linespoints title 'node ";
    s += std::to_string(ids[k]);
    s += "'";
  }
  s += "\nset title 'reaction sum'\nset xlabel 'load factor (time)'\nset ylabel '|sum of reactions|'\n"
       "plot $H using 1:2 with linespoints title 'reactions'\nunset multiplot\n";
  return s;
}

std::string res_script(const std::vector<ResidRow>& res, const std::string& png) {
  std::string s = "set terminal pngcairo size 900,500\nset output '";
  s += png;
  s += "'\n$R << EOD\n";
  for (std::size_t i = 0; i < res.size(); ++i) {
    for (const std::string& f : {std::to_string(i + 1), num(res[i].RELN), num(res[i].RELM), std::to_string(res[i].STEP)}) {
      s += f;
      s += ' ';
    }
    s += '\n';
  }
  s += "EOD\nset logscale y\nset grid\nset title 'residual norms'\nset xlabel 'iteration (all steps)'\n"
       // Iterations are whole numbers: no ticks between them.
       "set xtics " + std::to_string(std::max<std::size_t>(1, res.size() / 10)) + "\n"
       "set ylabel 'relative residual'\nplot $R using 1:($2 > 0 ? $2 : 1/0) with linespoints title 'REL RES(N)', "
       "$R using 1:($3 != 0 ? abs($3) : 1/0) with linespoints title 'REL RES(M)'\n";
  return s;
}

}  // namespace

std::string PLOTPNG(const std::vector<int>& ids, const std::vector<HistRow>& hist, const std::vector<ResidRow>& res,
                    const std::string& hist_png, const std::string& res_png) {
  std::string err = run_gnuplot(hist_script(ids, hist, hist_png));
  if (err.empty() && !res.empty()) err = run_gnuplot(res_script(res, res_png));
  return err;
}

}  // namespace ossa::post
