#include "inspect/printer.h"

#include <cerrno>

#include "cli/failure.h"
#include "cli/input_file.h"

namespace inspect {

void Printer::requireGood() {
  if (out_) return;
  const std::error_code reason = cli::lastError();
  if (reason == std::errc::broken_pipe) throw ClosedPipe();
  throw cli::Failure(
      cli::ExitStatus::outputFailed,
      "The output can't be written" + (reason ? ": " + reason.message() : std::string()) + ".");
}

void Printer::write(std::string_view text) {
  errno = 0;
  out_.write(text.data(), static_cast<std::streamsize>(text.size()));
  requireGood();
}

void Printer::json(const cli::Json& document) { write(cli::compact(document) + "\n"); }

void Printer::flush() {
  errno = 0;
  out_.flush();
  requireGood();
}

}  // namespace inspect
