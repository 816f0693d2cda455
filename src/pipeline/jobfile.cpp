// The job file: JSON with a fixed set of keys. An unknown key is refused,
// since a misspelt one would otherwise fall back to a default unseen.
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <set>

#include "pipeline/job.hpp"

namespace ossa::pipeline {
namespace {

using nlohmann::json;

std::string keys(const json& o, const std::string& where, std::set<std::string> allowed) {
  if (!o.is_object()) return where + " must be an object";
  for (const auto& [k, v] : o.items())
    if (!allowed.count(k)) return "unknown key '" + k + "' in " + where;
  return "";
}

template <class T>
void get(const json& o, const char* k, T& v) {
  if (o.contains(k)) v = o.at(k).get<T>();
}

std::string read_ct(const json& c, Ct& ct) {
  std::string err = keys(c, "ct", {"volume", "slope", "intercept", "a", "b", "rho_min", "bins", "samples"});
  if (!err.empty()) return err;
  if (!c.contains("volume") || !c.contains("slope") || !c.contains("intercept"))
    return "ct needs volume, slope and intercept (the calibration HU -> g/cm3)";
  get(c, "volume", ct.VOLUME);
  get(c, "slope", ct.SLOPE);
  get(c, "intercept", ct.INTERCEPT);
  get(c, "a", ct.A);
  get(c, "b", ct.B);
  get(c, "rho_min", ct.RHO_MIN);
  get(c, "bins", ct.BINS);
  get(c, "samples", ct.SAMPLES);
  if (!(ct.A > 0.0) || !(ct.B > 0.0) || !(ct.RHO_MIN > 0.0)) return "ct: a, b and rho_min must be positive";
  if (ct.BINS < 0) return "ct: bins must be 0 or more";
  if (ct.SAMPLES != 0 && ct.SAMPLES != 1 && ct.SAMPLES != 2 && ct.SAMPLES != 4 && ct.SAMPLES != 8)
    return "ct: samples must be 0 (from the voxel size), 1, 2, 4 or 8";
  return "";
}

std::string read_sets(const json& o, Job& j) {
  for (const auto& f : o.value("fixed", json::array())) {
    if (std::string e = keys(f, "fixed", {"set", "dofs"}); !e.empty()) return e;
    Fix x;
    x.SET = f.at("set").get<std::string>();
    get(f, "dofs", x.DOFS);
    if (x.DOFS.empty() || x.DOFS.size() > 6 || x.DOFS.find_first_not_of("01") != std::string::npos)
      return "fixed '" + x.SET + "': dofs must be 1 to 6 digits 0 or 1";
    j.FIXED.push_back(x);
  }
  for (const auto& l : o.value("loads", json::array())) {
    if (std::string e = keys(l, "loads", {"set", "total"}); !e.empty()) return e;
    Load x;
    x.SET = l.at("set").get<std::string>();
    const auto v = l.at("total").get<std::vector<double>>();
    if (v.size() != 3) return "load '" + x.SET + "': total needs 3 components";
    x.TOTAL = {v[0], v[1], v[2]};
    j.LOADS.push_back(x);
  }
  if (j.FIXED.empty()) return "no fixed set: the model would move as a rigid body";
  if (j.LOADS.empty()) return "no load";
  return "";
}

std::string read_analysis(const json& a, Job& j) {
  std::string err = keys(a, "analysis", {"geometric", "material", "steps", "iterations", "tolerance"});
  if (!err.empty()) return err;
  get(a, "geometric", j.GEOMETRIC);
  get(a, "material", j.MATERIAL);
  get(a, "steps", j.STEPS);
  get(a, "iterations", j.ITERATIONS);
  get(a, "tolerance", j.TOLERANCE);
  if (j.STEPS < 1 || j.STEPS > 999999) return "analysis: steps must be 1 or more";
  if (j.ITERATIONS < 1 || j.ITERATIONS > 999) return "analysis: iterations must be 1..999";
  if (!(j.TOLERANCE > 0.0)) return "analysis: tolerance must be positive";
  return "";
}

std::string read_solver(const json& o, Job& j) {
  const std::string s = o.value("solver", std::string("cg"));
  if (s == "cg") j.SOLVER = 0;
  else if (s == "ork") j.SOLVER = -1;
  else if (s == "mumps" || s == "direct") j.SOLVER = -2;
  else return "solver '" + s + "' is none of cg, ork, mumps";
  return "";
}

std::string read_material(const json& o, Job& j) {
  if (o.contains("material")) {
    const json& m = o.at("material");
    if (std::string e = keys(m, "material", {"E", "nu", "bone"}); !e.empty()) return e;
    get(m, "E", j.E);
    get(m, "nu", j.NU);
    get(m, "bone", j.BONE);
  }
  j.HAS_CT = o.contains("ct");
  if (j.HAS_CT) {
    if (std::string e = read_ct(o.at("ct"), j.CT); !e.empty()) return e;
  } else if (!(j.E > 0.0) && !o.contains("shell")) {
    return "no modulus: give material.E or a ct block";
  }
  if (!(j.NU > -1.0 && j.NU < 0.5)) return "material: nu must lie in (-1, 0.5)";
  if (j.MATERIAL && !j.BONE) return "a material nonlinear analysis needs material.bone = true";
  return "";
}

std::string read_shell(const json& o, Job& j) {
  if (!o.contains("shell")) return "";
  const json& sh = o.at("shell");
  if (std::string e = keys(sh, "shell", {"thickness", "E"}); !e.empty()) return e;
  get(sh, "thickness", j.SHELL_T);
  get(sh, "E", j.SHELL_E);
  if (!(j.SHELL_T > 0.0) || !(j.SHELL_E > 0.0)) return "shell: thickness and E must be positive";
  return "";
}

std::string read_box_sets(const json& o, Job& j) {
  if (!o.contains("sets")) return "";
  if (!o.at("sets").is_object()) return "sets must be an object of named boxes";
  for (const auto& [name, s] : o.at("sets").items()) {
    if (std::string e = keys(s, "set '" + name + "'", {"box"}); !e.empty()) return e;
    const auto b = s.at("box").get<std::vector<double>>();
    if (b.size() != 6 || !(b[0] <= b[3] && b[1] <= b[4] && b[2] <= b[5]))
      return "set '" + name + "': box needs [xmin, ymin, zmin, xmax, ymax, zmax]";
    j.SETS.push_back({name, {b[0], b[1], b[2]}, {b[3], b[4], b[5]}});
  }
  return "";
}

std::string read_all(const json& o, Job& j) {
  std::string err = keys(o, "the job file", {"mesh", "mesh_size", "sets", "title", "analysis", "solver", "output",
                                             "material", "ct", "shell", "fixed", "loads"});
  if (!err.empty()) return err;
  if (!o.contains("mesh")) return "no mesh named";
  j.MESH = o.at("mesh").get<std::string>();
  get(o, "mesh_size", j.MESH_SIZE);
  if (!(j.MESH_SIZE >= 0.0)) return "mesh_size must be positive (or 0: the surface's mean edge)";
  if (err = read_box_sets(o, j); !err.empty()) return err;
  get(o, "title", j.TITLE);
  get(o, "output", j.OUTPUT);
  if (j.OUTPUT < 1 || j.OUTPUT > 99999) return "output must be 1..99999 (steps between result frames)";
  if (o.contains("analysis"))
    if (err = read_analysis(o.at("analysis"), j); !err.empty()) return err;
  if (err = read_solver(o, j); !err.empty()) return err;
  if (err = read_shell(o, j); !err.empty()) return err;
  if (err = read_material(o, j); !err.empty()) return err;
  return read_sets(o, j);
}

}  // namespace

std::string read_job(const std::string& path, Job& j) {
  std::ifstream in(path);
  if (!in) return "cannot open " + path;
  j.DIR = std::filesystem::path(path).parent_path().string();
  try {
    const json o = json::parse(in, nullptr, true, true);
    const std::string err = read_all(o, j);
    return err.empty() ? "" : path + ": " + err;
  } catch (const std::exception& e) {
    return path + ": " + e.what();
  }
}

std::string read_job_mesh(const Job& j, Mesh& m) {
  std::string err = read_mesh(job_path(j, j.MESH), m, j.MESH_SIZE);
  for (const auto& b : j.SETS)
    if (err.empty()) err = add_box_set(m, b.NAME, b.LO, b.HI);
  return err;
}

std::string job_path(const Job& j, const std::string& p) {
  const std::filesystem::path q(p);
  return q.is_absolute() || j.DIR.empty() ? p : (std::filesystem::path(j.DIR) / q).string();
}

}  // namespace ossa::pipeline
