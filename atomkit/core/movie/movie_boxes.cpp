#include "atomkit/core/movie/movie_boxes.h"

#include "atomkit/core/movie/track_boxes.h"

namespace atomkit {

void MovieBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  switch (type) {
    case fourCC("udta"): {
      UserDataBoxHandler handler(*model_);
      walkChildren(handler, reader, payloadSize);
      return;
    }
    case fourCC("mvhd"):
      // DELIBERATE D-211: a second header replaces the first without complaint.
      model_->header = readMovieHeader(reader);
      return;
    case fourCC("trak"): {
      TrackBoxHandler handler(model_->options, model_->tracks.append({}));
      walkChildren(handler, reader, payloadSize);
      return;
    }
  }
}

void UserDataBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  switch (type) {
    case fourCC("meta"):
      readMetadata(model_->options, model_->itemList, reader, payloadSize);
      return;
    case fourCC("tags"):
      readTaggingBox(model_->options, model_->tagging, reader, payloadSize);
      return;
    case fourCC("chpl"):
      readChapterList(model_->chapterMarks, reader);
      return;
  }
}

}  // namespace atomkit
