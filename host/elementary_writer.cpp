#include "host/elementary_writer.h"

#include "host/annex_b.h"
#include "host/text.h"

namespace velahost {

ElementaryWriter::ElementaryWriter(cli::OutputFile& file, const AudioFormatRecord& format)
    : file_(file) {
  if (sameGuid(format.mediaId, vela::kMediaAac)) adts_ = adtsSettings(format.config);
}

ElementaryWriter::ElementaryWriter(cli::OutputFile& file, const VideoFormatRecord& format)
    : file_(file), annexB_(sameGuid(format.mediaId, vela::kMediaH264)) {
  head_ = annexB_ ? annexBParameterSets(format.config) : format.config;
}

void ElementaryWriter::put(const uint8_t* bytes, size_t count) {
  file_.write(bytes, count);
  bytes_ += count;
}

void ElementaryWriter::write(std::vector<uint8_t>& packet) {
  // A packet that can't be converted leaves the file as it is.
  if (annexB_) convertToAnnexB(packet);
  std::optional<std::array<uint8_t, kAdtsHeaderSize>> header;
  if (adts_) header = adtsHeader(*adts_, packet.size());

  if (packets_ == 0) put(head_.data(), head_.size());
  if (header) put(header->data(), header->size());
  put(packet.data(), packet.size());
  ++packets_;
}

}  // namespace velahost
