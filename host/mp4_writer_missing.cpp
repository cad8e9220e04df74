// For builds without libavformat.
#include "host/failure.h"
#include "host/mp4_writer.h"

namespace velahost {

struct Mp4Writer::State {};

bool canWriteMp4() { return false; }

Mp4Writer::Mp4Writer(cli::OutputFile&, const Mp4Settings&) {
  throw Failure(ExitStatus::notRepresentable,
                "This velahost was built without libavformat, which writes MP4. --format adts and "
                "--format mp3 cut audio without it.");
}
Mp4Writer::~Mp4Writer() = default;
void Mp4Writer::writeAudio(const std::vector<uint8_t>&, int64_t, uint32_t) {}
void Mp4Writer::writeVideo(const std::vector<uint8_t>&, int64_t, int64_t, int64_t) {}
void Mp4Writer::finish() {}

}  // namespace velahost
