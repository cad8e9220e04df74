#include "tests/programs/child.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

namespace {

namespace fs = std::filesystem;

/// In the new process, before the program starts.
void apply(const Surroundings& surroundings) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) signal(number, SIG_DFL);
  if (surroundings.ignoredSignal) signal(*surroundings.ignoredSignal, SIG_IGN);
  if (surroundings.largestFile) {
    const rlimit limit{*surroundings.largestFile, *surroundings.largestFile};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  if (surroundings.obeysPermissions) {
    // Fails, and need not succeed, for an ordinary user.
    prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
    prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0);
  }
  if (surroundings.largestMemory) {
    const rlimit limit{*surroundings.largestMemory, *surroundings.largestMemory};
    setrlimit(RLIMIT_AS, &limit);
  }
  if (!surroundings.output.empty()) {
    const int output = open(surroundings.output.c_str(), O_WRONLY);
    if (output < 0 || dup2(output, STDOUT_FILENO) < 0) _exit(126);
  }
  for (const auto& [name, value] : surroundings.environment) {
    setenv(name.c_str(), value.c_str(), 1);
  }
  if (surroundings.stopsAtWrites) {
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // the search for leaks can't share a program
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  }
  if (!surroundings.folder.empty() && chdir(surroundings.folder.c_str()) != 0) _exit(126);
}

/// Whether a stopped program is about to write to something other than standard error, or to
/// rename.
bool isAtWrite(pid_t process) {
  __ptrace_syscall_info info{};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) <= 0) return false;
  if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return false;
  switch (info.entry.nr) {
    case SYS_write:
    case SYS_writev:
      return info.entry.args[0] != STDERR_FILENO;
    case SYS_renameat:
#ifdef SYS_rename
    case SYS_rename:
#endif
      return true;
    default:
      return false;
  }
}

std::vector<std::string> withPlugin(std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--plugin", media::pluginFile().string()});
  return arguments;
}

}  // namespace

Child::Child(std::vector<std::string> arguments, const Surroundings& surroundings)
    : Child(media::hostProgram(), withPlugin(std::move(arguments)), surroundings) {}

Child::Child(const fs::path& program, std::vector<std::string> arguments,
             const Surroundings& surroundings) {
  arguments.insert(arguments.begin(), program.string());
  std::vector<char*> words;
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "no pipe";
    return;
  }
  process_ = fork();
  if (process_ == 0) {
    dup2(surroundings.outputPipe.value_or(ends[1]), STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    apply(surroundings);
    execv(words[0], words.data());
    _exit(127);
  }
  close(ends[1]);
  output_ = ends[0];
}

Child::~Child() {
  if (process_ > 0) {
    if (!ended_) kill(process_, SIGKILL);
    wait();
  }
}

void Child::signal(int number) const { kill(process_, number); }

bool Child::signalAtWrite(int number, int nth) {
  for (;;) {
    int status = 0;
    if (waitpid(process_, &status, 0) != process_) return false;
    if (!WIFSTOPPED(status)) {
      ended_ = status;
      return false;
    }
    if (isAtWrite(process_) && --nth == 0) {
      kill(process_, number);
      return ptrace(PTRACE_DETACH, process_, nullptr, nullptr) == 0;
    }
    // Without the option the system does not tell calls of the system from other stops.
    const int stop = WSTOPSIG(status);
    if (stop == SIGTRAP) ptrace(PTRACE_SETOPTIONS, process_, nullptr, PTRACE_O_TRACESYSGOOD);
    const bool isSignal = stop != SIGTRAP && stop != (SIGTRAP | 0x80);
    ptrace(PTRACE_SYSCALL, process_, nullptr, isSignal ? stop : 0);
  }
}

media::ProgramResult Child::wait() {
  media::ProgramResult result{-1, ""};
  char piece[4096];
  for (ssize_t got = read(output_, piece, sizeof piece); got > 0;
       got = read(output_, piece, sizeof piece)) {
    result.output.append(piece, static_cast<size_t>(got));
  }
  close(output_);
  int status = 0;
  const bool ended = ended_ || waitpid(process_, &status, 0) == process_;
  status = ended_.value_or(status);
  if (ended && WIFEXITED(status)) result.status = WEXITSTATUS(status);
  process_ = -1;
  return result;
}

media::ProgramResult runInspector(std::vector<std::string> arguments,
                                  const Surroundings& surroundings) {
  return Child(media::inspectorProgram(), std::move(arguments), surroundings).wait();
}

media::ProgramResult runHost(std::vector<std::string> arguments, const Surroundings& surroundings) {
  return Child(std::move(arguments), surroundings).wait();
}

std::map<std::string, std::string> contents(const fs::path& folder) {
  std::map<std::string, std::string> all;
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::string& what = all[entry.path().filename().string()];
    if (entry.is_symlink()) {
      what = "-> " + fs::read_symlink(entry.path()).string();
    } else {
      what = entry.is_regular_file() ? media::readText(entry.path()) : "?";
    }
  }
  return all;
}

void waitForFile(const fs::path& folder, const std::string& ending) {
  for (int i = 0; i < 3000; ++i) {
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().string().ends_with(ending)) return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  FAIL() << "no file *" << ending << " in " << folder;
}
