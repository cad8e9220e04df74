#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/platform.h"

namespace {

// Sets the disposition of SIGTRAP for the life of a test.
class TrapDisposition {
 public:
  explicit TrapDisposition(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    ::sigaction(SIGTRAP, &action, &previous_);
  }
  ~TrapDisposition() { ::sigaction(SIGTRAP, &previous_, nullptr); }
  static void (*current())(int) {
    struct sigaction action = {};
    ::sigaction(SIGTRAP, nullptr, &action);
    return action.sa_handler;
  }

 private:
  struct sigaction previous_ = {};
};

volatile sig_atomic_t g_traps = 0;
void countTrap(int) { g_traps = g_traps + 1; }

std::string written(const char16_t* text) {
  testing::internal::CaptureStderr();
  platform::debugOutput(text);
  return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(DebugOutput, WritesTheTextToStandardError) {
  EXPECT_EQ(written(u"\r\n*** plain\r\n"), "\r\n*** plain\r\n");
  EXPECT_EQ(written(u""), "");
}

TEST(DebugOutput, EncodesEveryLengthOfSequence) {
  EXPECT_EQ(written(u"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(DebugOutput, ReplacesALoneSurrogateHalf) {
  const char16_t loneHigh[] = {0xD83D, u'x', 0};
  const char16_t loneLow[] = {0xDE00, 0};
  const char16_t highAtTheEnd[] = {0xDBFF, 0};
  EXPECT_EQ(written(loneHigh), "\xEF\xBF\xBDx");
  EXPECT_EQ(written(loneLow), "\xEF\xBF\xBD");
  EXPECT_EQ(written(highAtTheEnd), "\xEF\xBF\xBD");
}

TEST(DebugOutput, WritesTextsLongerThanItsStage) {
  for (size_t length = 240; length < 270; ++length) {
    std::u16string text(length, u'a');
    text += u"\U0001F600\u20AC!";
    EXPECT_EQ(written(text.c_str()), std::string(length, 'a') + "\xF0\x9F\x98\x80\xE2\x82\xAC!");
  }
}

namespace {

volatile sig_atomic_t g_interruptions = 0;

// Standard error as a full pipe, which takes no byte until it is read.
class FullStandardError {
 public:
  FullStandardError() : saved_(::dup(STDERR_FILENO)) {
    EXPECT_EQ(::pipe(ends_), 0);
    ::fcntl(ends_[1], F_SETFL, O_NONBLOCK);
    while (::write(ends_[1], ".", 1) == 1) ++filled_;
    ::fcntl(ends_[1], F_SETFL, 0);
    ::dup2(ends_[1], STDERR_FILENO);
    ::close(ends_[1]);
  }
  // Reads all that was written. Nothing may be written to standard error afterwards.
  std::string drained() {
    std::string bytes;
    char piece[4096];
    for (ssize_t got; (got = ::read(ends_[0], piece, sizeof(piece))) > 0;) {
      bytes.append(piece, static_cast<size_t>(got));
    }
    return bytes.substr(filled_);
  }
  void restore() {
    if (saved_ < 0) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
    saved_ = -1;
  }
  ~FullStandardError() {
    restore();
    ::close(ends_[0]);
  }

 private:
  int saved_;
  int ends_[2] = {-1, -1};
  size_t filled_ = 0;
};

}  // namespace

TEST(DebugOutput, IsLostQuietlyWhereThereIsNoStandardError) {
  const int saved = ::dup(STDERR_FILENO);
  ::close(STDERR_FILENO);
  platform::debugOutput(u"lost");
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  EXPECT_EQ(written(u"kept"), "kept");
}

TEST(DebugOutput, LosesNothingWhenASignalInterruptsIt) {
  struct sigaction action = {};
  struct sigaction previous = {};
  action.sa_handler = [](int) { g_interruptions = g_interruptions + 1; };  // no SA_RESTART
  ::sigaction(SIGUSR1, &action, &previous);
  g_interruptions = 0;
  FullStandardError error;
  std::string taken;
  const pthread_t writer = ::pthread_self();
  std::thread reader([&] {
    // The writer waits at its first byte; some of the signals reach it there.
    for (int i = 0; i < 20; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      ::pthread_kill(writer, SIGUSR1);
    }
    taken = error.drained();
  });
  platform::debugOutput(std::u16string(1000, u'x').c_str());
  error.restore();  // so that the reader meets the end
  reader.join();
  ::sigaction(SIGUSR1, &previous, nullptr);
  EXPECT_GT(g_interruptions, 0);
  EXPECT_EQ(taken, std::string(1000, 'x'));
}

TEST(DebugOutput, GoesToTheSinkInPlaceOfTheSystem) {
  static std::u16string taken;
  const platform::DebugOutputSink sink = [](const char16_t* text) { taken = text; };
  EXPECT_EQ(platform::setDebugOutputSink(sink), nullptr);
  EXPECT_EQ(written(u"caught"), "");
  EXPECT_EQ(taken, u"caught");
  EXPECT_EQ(platform::setDebugOutputSink(nullptr), sink);
  EXPECT_EQ(written(u"free"), "free");
}

TEST(DebugBreak, ReturnsWithoutDebuggerOrHandler) {
  TrapDisposition standard(SIG_DFL);
  platform::debugBreak();
  EXPECT_EQ(TrapDisposition::current(), SIG_DFL);
}

TEST(DebugBreak, ReturnsWhenTheTrapIsIgnored) {
  TrapDisposition ignored(SIG_IGN);
  platform::debugBreak();
  EXPECT_EQ(TrapDisposition::current(), SIG_IGN);
}

TEST(DebugBreak, CallsAHandlerOnceAndGoesOn) {
  TrapDisposition counted(countTrap);
  g_traps = 0;
  platform::debugBreak();
  EXPECT_EQ(g_traps, 1);
}

TEST(DebugBreak, CallsAHandlerThatTakesSignalInformation) {
  TrapDisposition restored(SIG_DFL);
  struct sigaction action = {};
  action.sa_flags = SA_SIGINFO;
  action.sa_sigaction = [](int, siginfo_t*, void*) { countTrap(0); };
  ::sigaction(SIGTRAP, &action, nullptr);
  g_traps = 0;
  platform::debugBreak();
  EXPECT_EQ(g_traps, 1);
}

namespace {

// Runs debugBreak() in a child that this process traces. The child goes on with `signal` after the
// stop. @return the child's exit status, or -1 when tracing is not allowed here
int statusOfTracedChild(int signal, int& stopSignal) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGTRAP, SIG_DFL);
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(1);
    platform::debugBreak();
    ::_exit(TrapDisposition::current() == SIG_DFL ? 42 : 2);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 1) return -1;
  if (!WIFSTOPPED(status)) return status;
  stopSignal = WSTOPSIG(status);
  ::ptrace(PTRACE_CONT, child, nullptr, signal);
  ::waitpid(child, &status, 0);
  return status;
}

}  // namespace

TEST(DebugBreak, StopsInADebuggerThatCanResume) {
  for (const int passedOn : {0, SIGTRAP}) {
    int stopSignal = 0;
    const int status = statusOfTracedChild(passedOn, stopSignal);
    if (status == -1) GTEST_SKIP() << "tracing is not allowed here";
    EXPECT_EQ(stopSignal, SIGTRAP);
    EXPECT_TRUE(WIFEXITED(status)) << "the signal that was passed on ended the program";
    EXPECT_EQ(WEXITSTATUS(status), 42);
  }
}
