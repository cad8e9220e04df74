#include "atomkit/core/movie/movie_boxes.h"

#include "atomkit/core/movie/track_boxes.h"

namespace atomkit {

void MovieBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  switch (type) {
    case fourCC("udta"): {
      UserDataBoxHandler handler(*movie_);
      walkChildren(handler, reader, payloadSize);
      return;
    }
    case fourCC("mvhd"):
      // DELIBERATE D-211: a second header replaces the first without complaint.
      movie_->header_ = readMovieHeader(reader);
      return;
    case fourCC("trak"): {
      TrackBoxHandler handler(movie_->options_, *movie_->tracks_.append({}));
      walkChildren(handler, reader, payloadSize);
      return;
    }
  }
}

void UserDataBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  switch (type) {
    case fourCC("meta"):
      readMetadata(movie_->options_, movie_->itemList_, reader, payloadSize);
      return;
    case fourCC("tags"):
      readTaggingBox(movie_->options_, movie_->tagging_, reader, payloadSize);
      return;
    case fourCC("chpl"):
      readChapterList(movie_->chapterMarks_, reader);
      return;
  }
}

}  // namespace atomkit
