// A program as a process of its own, for what shows only from outside: signals, limits, files.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/programs/media.h"

/// What a child finds when it starts.
struct Surroundings {
  std::filesystem::path folder = {};         ///< empty: where the test is
  std::optional<uint64_t> largestFile = {};  ///< bytes; a longer write fails
  std::optional<int> ignoredSignal = {};
  bool obeysPermissions = false;  ///< also where the tests run as a user who may read everything
  std::optional<uint64_t> largestMemory = {};  ///< bytes of address space
  std::filesystem::path output = {};           ///< where standard output goes; empty: it is kept
  std::optional<int> outputPipe = {};          ///< or a descriptor where it goes
  std::map<std::string, std::string> environment = {};  ///< added to the test's own
  bool stopsAtWrites = false;                           ///< for Child::signalAtWrite()
};

/// A running program. Its two outputs are one.
class Child {
 public:
  /// Starts velahost. @param arguments  without its name; the plug-in of the build is added
  explicit Child(std::vector<std::string> arguments, const Surroundings& surroundings = {});
  Child(const std::filesystem::path& program, std::vector<std::string> arguments,
        const Surroundings& surroundings);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  /// Kills the program if nobody waited for it.
  ~Child();

  void signal(int number) const;

  /// Lets the program run until it is about to write for the n-th time, and sends it the signal
  /// then. What counts is a write() to anything but standard error, and a rename().
  /// @param nth  from 1
  /// @return false when the program ended before
  bool signalAtWrite(int number, int nth);

  /// Waits for the end.
  media::ProgramResult wait();

 private:
  pid_t process_ = -1;
  std::optional<int> ended_ = {};  ///< what the system said of its end, if that was asked before
  int output_ = -1;                ///< the end that is read
};

/// Runs velahost to its end.
media::ProgramResult runHost(std::vector<std::string> arguments,
                             const Surroundings& surroundings = {});

/// Runs velainspect to its end.
media::ProgramResult runInspector(std::vector<std::string> arguments,
                                  const Surroundings& surroundings = {});

/// Everything in a folder, by name: the bytes of a file, "-> target" of a link, "?" of the rest.
std::map<std::string, std::string> contents(const std::filesystem::path& folder);

/// Waits until a file appears in a folder whose name ends so. Fails the running test after a while.
void waitForFile(const std::filesystem::path& folder, const std::string& ending);
