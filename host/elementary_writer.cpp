#include "host/elementary_writer.h"

#include "host/annex_b.h"
#include "host/failure.h"
#include "host/text.h"

namespace velahost {

ElementaryWriter::ElementaryWriter(const std::filesystem::path& file,
                                   const AudioFormatRecord& format)
    : file_(file) {
  if (sameGuid(format.mediaId, vela::kMediaAac)) adts_ = adtsSettings(format.config);
  open();
}

ElementaryWriter::ElementaryWriter(const std::filesystem::path& file,
                                   const VideoFormatRecord& format)
    : file_(file) {
  annexB_ = sameGuid(format.mediaId, vela::kMediaH264);
  const std::vector<uint8_t> front = annexB_ ? annexBParameterSets(format.config) : format.config;
  open();
  put(front.data(), front.size());
}

ElementaryWriter::~ElementaryWriter() {
  if (finished_) return;
  out_.close();
  std::error_code ignored;
  std::filesystem::remove(file_, ignored);
}

void ElementaryWriter::open() {
  out_.open(file_, std::ios::binary | std::ios::trunc);
  if (!out_) {
    finished_ = true;  // a file that could not be opened for writing is not ours to remove
    throw Failure(ExitStatus::outputFailed, "The file " + file_.string() + " can't be written.");
  }
}

void ElementaryWriter::put(const uint8_t* bytes, size_t count) {
  out_.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
  if (!out_) {
    throw Failure(ExitStatus::outputFailed, "The file " + file_.string() + " can't be written.");
  }
  bytes_ += count;
}

void ElementaryWriter::write(std::vector<uint8_t>& packet) {
  if (adts_) {
    const auto header = adtsHeader(*adts_, packet.size());
    put(header.data(), header.size());
  }
  if (annexB_) convertToAnnexB(packet);
  put(packet.data(), packet.size());
  ++packets_;
}

void ElementaryWriter::finish() {
  out_.close();
  if (!out_) {
    throw Failure(ExitStatus::outputFailed, "The file " + file_.string() + " can't be written.");
  }
  finished_ = true;
}

}  // namespace velahost
