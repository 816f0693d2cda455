// ossa-run: runs ossa in a job directory and watches it. Exit status 0 only
// for a normal end; 1 for an error stop; 3 when ossa ended without its end
// line (killed, crashed); 2 for bad arguments.
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr const char* HELP = R"(usage: ossa-run [JOBDIR]

Runs ossa on JOBDIR/EXEC.INP (default: the current directory). On a
terminal a progress bar follows the job; otherwise each progress line is
printed as it comes. New rows of the residual table (EXEC.LOG) are shown as
the job goes. At the end: the status, the error message of an error stop,
the elapsed-time report and where the log and results are.

Exit status: 0 normal end; 1 error stop (ossa's end line gives the two
error numbers); 3 ossa ended without an end line; 2 bad arguments or no
deck.
)";

// The ossa binary beside this one, else the one on the PATH.
std::string ossa_binary() {
  char buf[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n > 0) {
    buf[n] = '\0';
    const auto p = std::filesystem::path(buf).parent_path() / "ossa";
    if (std::filesystem::exists(p)) return p.string();
  }
  return "ossa";
}

std::string quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// Reads what the log has gained since `pos` and prints the step headings
// and the iteration rows of the residual table; true when it printed.
bool tail_log(const std::string& log, std::streamoff& pos, bool tty) {
  std::ifstream in(log);
  if (!in) return false;
  in.seekg(pos);
  std::string line;
  bool shown = false;
  while (std::getline(in, line)) {
    if (in.eof()) break;  // a line not finished yet: read it next time
    pos = in.tellg();
    const bool step = line.find("***** STEP NO.") != std::string::npos;
    const bool head = line.find("ITER    MAX RES") != std::string::npos;
    int it = 0;
    char rest = 0;
    const bool row = std::sscanf(line.c_str(), " %d %c", &it, &rest) == 2 && (rest == '-' || (rest >= '0' && rest <= '9')) &&
                     line.find("E") != std::string::npos && line.size() > 60;
    if (step || head || row) std::printf("%s%s\n", tty ? "\r\033[K" : "", line.c_str());
    shown = shown || step || head || row;
  }
  return shown;
}

void bar(int pct) {
  const int w = 40, fill = pct * w / 100;
  std::printf("\r\033[K[%.*s%.*s] %3d%%", fill, "########################################", w - fill,
              "........................................", pct);
  std::fflush(stdout);
}

// The log's lines from the first one holding `from` to the first after it
// holding `to`.
void print_block(const std::string& log, const char* from, const char* to) {
  std::ifstream in(log);
  std::string line;
  bool on = false;
  while (std::getline(in, line)) {
    if (!on && line.find(from) != std::string::npos) on = true;
    if (on) std::printf("%s\n", line.c_str());
    if (on && line.find(to) != std::string::npos) break;
  }
}

// The few lines of the log before the error line: the message.
void print_error(const std::string& log) {
  std::ifstream in(log);
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  for (std::size_t i = 0; i < lines.size(); ++i)
    if (lines[i].find("*** ERROR NO. ***") != std::string::npos) {
      for (std::size_t k = i >= 4 ? i - 4 : 0; k <= i + 1 && k < lines.size(); ++k)
        std::printf("%s\n", lines[k].c_str());
      return;
    }
}

int watch(const std::string& dir) {
  const std::string log = (std::filesystem::path(dir) / "EXEC.LOG").string();
  const bool tty = isatty(fileno(stdout));
  std::FILE* p = popen(("cd " + quote(dir) + " && exec " + quote(ossa_binary()) + " 2>&1").c_str(), "r");
  if (p == nullptr) {
    std::fprintf(stderr, "ossa-run: cannot start ossa\n");
    return 2;
  }
  std::streamoff pos = 0;
  int no1 = 0, no2 = 0, pct = 0;
  bool ended = false;
  auto take = [&](const std::string& line) {
    if (std::sscanf(line.c_str(), "##$$ExSv proc %d", &pct) == 1) {
      tail_log(log, pos, tty);
      if (tty) bar(pct);
      else std::printf("progress %d %%\n", pct);
    } else if (std::sscanf(line.c_str(), "##$$ExSv end %d %d", &no1, &no2) == 2) {
      ended = true;
    } else {
      std::printf("%s%s", tty ? "\r\033[K" : "", line.c_str());
    }
    std::fflush(stdout);
  };
  // ossa's own lines as they come; between them, every half second, the
  // rows the log has gained within a long step.
  std::string acc;
  char buf[4096];
  for (;;) {
    pollfd pf{fileno(p), POLLIN, 0};
    const int ready = poll(&pf, 1, 500);
    if (ready == 0 || (ready < 0 && errno == EINTR)) {
      if (tail_log(log, pos, tty) && tty) bar(pct);
      std::fflush(stdout);
      continue;
    }
    const ssize_t n = ready < 0 ? -1 : read(pf.fd, buf, sizeof buf);
    if (n <= 0) break;
    acc.append(buf, static_cast<std::size_t>(n));
    for (std::size_t nl; (nl = acc.find('\n')) != std::string::npos; acc.erase(0, nl + 1)) take(acc.substr(0, nl + 1));
  }
  if (!acc.empty()) take(acc + "\n");
  const int st = pclose(p);
  tail_log(log, pos, tty);
  if (tty) std::printf("\n");
  print_block(log, "***** ELAPSED TIME *****", "TOTAL");
  if (ended && no1 == 1 && no2 == 1) std::printf("ossa-run: normal end\n");
  else if (ended) {
    print_error(log);
    std::printf("ossa-run: error stop %d %d\n", no1, no2);
  } else {
    std::printf("ossa-run: ossa ended without its end line (status %d)\n", WIFEXITED(st) ? WEXITSTATUS(st) : -1);
  }
  std::printf("ossa-run: log %s\nossa-run: results %s/EXEC.Bdsp, %s/EXEC.Bstr (ossa-results -C %s frames)\n",
              log.c_str(), dir.c_str(), dir.c_str(), dir.c_str());
  return !ended ? 3 : (no1 == 1 && no2 == 1 ? 0 : 1);
}

}  // namespace

int main(int argc, char** argv) {
  std::string dir = ".";
  if (argc > 1 && (std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "--help") == 0)) {
    std::fputs(HELP, stdout);
    return 0;
  }
  if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
    std::fprintf(stderr, "ossa-run: bad arguments\nTry 'ossa-run --help'.\n");
    return 2;
  }
  if (argc == 2) dir = argv[1];
  if (!std::filesystem::is_regular_file(std::filesystem::path(dir) / "EXEC.INP")) {
    std::fprintf(stderr, "ossa-run: no deck %s/EXEC.INP\n", dir.c_str());
    return 2;
  }
  return watch(dir);
}
