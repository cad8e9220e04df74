#include "gst/demuxer.h"

#include <gst/pbutils/pbutils.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "gst/tags.h"
#include "gst/timeline.h"
#include "gst/toc.h"

GST_DEBUG_CATEGORY_EXTERN(vela_demux_debug);
#define GST_CAT_DEFAULT vela_demux_debug

namespace velagst {
namespace {

using vela::TIOResult;

static_assert(GST_CLOCK_TIME_NONE == vela::kUnknown64);  // what is not known goes both ways

// A decoder of H.264 holds back at most 16 pictures to bring them into the order in which they are
// shown. After more pictures in a row that come too late, none that is shown earlier can follow.
constexpr uint32_t kReorderedPictures = 16;

constexpr size_t kMostWaiting = 100;  // seeks that wait to be followed

/// Applies a seek to the segment that is played. @return whether that is possible
bool moveSegment(GstEvent* event, GstSegment& segment) {
  gdouble rate = 1;
  GstFormat format = GST_FORMAT_UNDEFINED;
  GstSeekFlags flags = GST_SEEK_FLAG_NONE;
  GstSeekType startType = GST_SEEK_TYPE_NONE;
  GstSeekType stopType = GST_SEEK_TYPE_NONE;
  gint64 start = 0;
  gint64 stop = 0;
  gst_event_parse_seek(event, &rate, &format, &flags, &startType, &start, &stopType, &stop);
  gboolean moves = FALSE;
  return gst_segment_do_seek(&segment, rate, format, flags, startType, static_cast<guint64>(start),
                             stopType, static_cast<guint64>(stop), &moves) != FALSE;
}

bool isFlushing(GstEvent* seek) {
  GstSeekFlags flags = GST_SEEK_FLAG_NONE;
  gst_event_parse_seek(seek, nullptr, nullptr, &flags, nullptr, nullptr, nullptr, nullptr);
  return (flags & GST_SEEK_FLAG_FLUSH) != 0;
}

}  // namespace

Demuxer::Demuxer(GstElement* element, GstPad* sinkPad)
    : element_(element), sinkPad_(sinkPad), context_(sinkPad), flows_(gst_flow_combiner_new()) {
  gst_segment_init(&segment_, GST_FORMAT_TIME);
}

Demuxer::~Demuxer() { gst_flow_combiner_free(flows_); }

// -------------------------------------------------------------------------------------------------
// State changes

bool Demuxer::loadLibrary() {
  std::string problem;
  GST_OBJECT_LOCK(element_);
  const std::string wanted = library;
  GST_OBJECT_UNLOCK(element_);
  const std::string file = findSplitterLibrary(wanted);
  library_ = SplitterLibrary::load(file, &context_, problem);
  if (library_) return true;
  GST_ELEMENT_ERROR(element_, LIBRARY, INIT, ("%s", problem.c_str()), ("library %s", file.c_str()));
  return false;
}

void Demuxer::unloadLibrary() { library_.reset(); }

void Demuxer::prepare() {
  token_.setClosing(false);
  token_.setFlushing(false);
  seek_ = {};
  seekPending_ = false;
  finished_ = false;
  cutShort_ = false;
  toldEarlyEnd_ = false;
  sequence_ = gst_util_seqnum_next();
  lastSeeks_.fill(GST_SEQNUM_INVALID);
  gst_flow_combiner_reset(flows_);
  GST_OBJECT_LOCK(element_);
  playedItem_ = item;
  gst_segment_init(&segment_, GST_FORMAT_TIME);
  durationNs_ = GST_CLOCK_TIME_NONE;
  GST_OBJECT_UNLOCK(element_);
}

void Demuxer::cancel() { token_.setClosing(true); }

bool Demuxer::activate(bool active) {
  if (!active) cancel();
  {
    // A seek that is under way ends first; those that follow don't start the task again.
    std::unique_lock<std::mutex> lock(seekMutex_);
    active_ = active;
    if (active) return gst_pad_start_task(sinkPad_, runTask, this, nullptr);
    seekEnded_.wait(lock, [this] { return !seeking_; });
  }
  return gst_pad_stop_task(sinkPad_);
}

void Demuxer::closeFile() {
  opened_ = false;
  {
    const std::lock_guard<std::mutex> lock(seekMutex_);
    taskSeeks_.clear();
    waitingSeeks_.clear();
  }
  reader_.reset();
  for (Output& output : outputs_) {
    gst_flow_combiner_remove_pad(flows_, output.pad);
    gst_pad_set_active(output.pad, FALSE);
    gst_element_remove_pad(element_, output.pad);
  }
  GST_OBJECT_LOCK(element_);
  outputs_.clear();
  chapters_.clear();
  hasToc_ = false;
  GST_OBJECT_UNLOCK(element_);
}

// -------------------------------------------------------------------------------------------------
// The task

void Demuxer::runTask(gpointer self) { static_cast<Demuxer*>(self)->run(); }

void Demuxer::run() {
  streamingThread_ = std::this_thread::get_id();
  std::unique_lock<std::mutex> lock(seekMutex_);
  if (taskSeeks_.empty()) {
    lock.unlock();
    step();
  } else if (seeking_) {
    // What waits here came later than the seek under way, which starts the task again.
    gst_pad_pause_task(sinkPad_);
  } else {
    EventPtr event = std::move(taskSeeks_.front());
    taskSeeks_.pop_front();
    followTaskSeek(lock, std::move(event));
  }
  streamingThread_ = std::thread::id();
}

void Demuxer::step() {
  if (!opened_ && !openFile()) return;
  if (seekPending_ && !followSeek()) return;
  if (finished_) {
    pause();
  } else {
    pushNext();
  }
}

/// @param lock  on the mutex of the seeks
void Demuxer::followTaskSeek(std::unique_lock<std::mutex>& lock, EventPtr event) {
  if (isFlushing(event.get())) {
    waitingSeeks_.push_back(std::move(event));
    performAll(lock);
  } else {
    lock.unlock();
    beginAt(event.get());
  }
}

void Demuxer::pause() {
  const std::lock_guard<std::mutex> lock(seekMutex_);
  if (taskSeeks_.empty()) gst_pad_pause_task(sinkPad_);
}

bool Demuxer::openFile() {
  reader_ = std::make_unique<ItemReader>(library_->factory(), token_);
  if (const MaybeFailure failure = reader_->open(playedItem_)) {
    fail(*failure);
    return false;
  }
  const uint32_t rate = reader_->audioFormat().present ? reader_->sampleRate() : 0;
  span_ = ItemSpan(reader_->itemStart(), reader_->duration(), rate);
  GST_OBJECT_LOCK(element_);
  durationNs_ = span_.endNs();
  segment_.duration = durationNs_;
  segment_.stop = durationNs_;
  chapters_ = playedItem_ == 0 ? reader_->chapters() : std::vector<ChapterMark>();
  hasToc_ = chapters_.size() > 1;
  GST_OBJECT_UNLOCK(element_);
  return exposeOutputs();
}

bool Demuxer::exposeOutputs() {
  std::string problem;
  GstCaps* audio = nullptr;
  GstCaps* video = nullptr;
  if (reader_->audioFormat().present) {
    audio = makeAudioCaps(reader_->audioFormat(), reader_->info().description, problem);
  }
  if (problem.empty() && reader_->videoFormat().present) {
    video = makeVideoCaps(reader_->videoFormat(), problem);
  }
  if (!problem.empty()) {
    gst_clear_caps(&audio);
    fail({TIOResult::failed, problem});
    return false;
  }
  // Who gets a pad may seek at once.
  opened_ = true;
  outputs_.reserve(2);
  const guint group = gst_util_group_id_next();
  if (video) addOutput(StreamKind::video, "video_0", video, group);
  if (audio) addOutput(StreamKind::audio, "audio_0", audio, group);
  gst_element_no_more_pads(element_);
  return true;
}

void Demuxer::addOutput(StreamKind kind, const char* name, GstCaps* caps, guint group) {
  GstElementClass* const elementClass = GST_ELEMENT_GET_CLASS(element_);
  GstPadTemplate* const model = gst_element_class_get_pad_template(
      elementClass, kind == StreamKind::audio ? "audio_%u" : "video_%u");
  Output output;
  output.kind = kind;
  output.pad = gst_pad_new_from_template(model, name);
  gst_pad_set_event_function(output.pad, handleSourceEvent);
  gst_pad_set_query_function(output.pad, handleSourceQuery);
  gst_pad_set_active(output.pad, TRUE);

  gchar* const id = gst_pad_create_stream_id(output.pad, element_, name);
  GstEvent* const begin = gst_event_new_stream_start(id);
  gst_event_set_group_id(begin, group);
  g_free(id);
  gst_pad_push_event(output.pad, begin);
  gst_pad_push_event(output.pad, gst_event_new_caps(caps));
  gst_caps_unref(caps);

  GST_OBJECT_LOCK(element_);
  outputs_.push_back(output);
  GST_OBJECT_UNLOCK(element_);
  gst_flow_combiner_add_pad(flows_, output.pad);
  gst_element_add_pad(element_, output.pad);
}

bool Demuxer::followSeek() {
  seekPending_ = false;
  if (const MaybeFailure failure = reader_->seek(hostUnitsFromNs(seek_.offsetNs), seek_.mode)) {
    fail(*failure);
    return false;
  }
  if (seek_.mode == SeekMode::keyUnit) {
    // Reports say where playing really begins.
    GST_OBJECT_LOCK(element_);
    const uint64_t ns = std::min(nsFromHostUnits(reader_->offset()), segment_.start);
    segment_.start = segment_.time = segment_.position = ns;
    GST_OBJECT_UNLOCK(element_);
  }
  return true;
}

Output* Demuxer::outputOf(StreamKind kind) {
  for (Output& output : outputs_) {
    if (output.kind == kind) return &output;
  }
  return nullptr;
}

void Demuxer::pushNext() {
  TimedPacket packet;
  if (const MaybeFailure failure = reader_->next(packet)) {
    fail(*failure);
    return;
  }
  // Before the last stream's end, after which nobody may listen any more.
  if (packet.kind == StreamKind::none && !cutShort_) tellEarlyEnd();
  for (Output& output : outputs_) {
    const bool hasPacket = packet.kind == output.kind;
    if (!output.ended && !hasPacket && reader_->hasEnded(output.kind)) endOutput(output);
  }
  if (packet.kind == StreamKind::none) {
    finish();
    return;
  }
  Output& output = *outputOf(packet.kind);
  if (isPastStop(output, packet)) {
    cutShort_ = true;
    reader_->end(packet.kind);
    endOutput(output);
    return;
  }
  const GstFlowReturn flow = push(output, packet);
  const GstFlowReturn all = gst_flow_combiner_update_pad_flow(flows_, output.pad, flow);
  if (flow == GST_FLOW_EOS && all >= GST_FLOW_EOS) {
    cutShort_ = true;
    reader_->end(output.kind);
    endOutput(output);
  } else if (all == GST_FLOW_FLUSHING) {
    pause();
  } else if (all == GST_FLOW_NOT_LINKED || all < GST_FLOW_EOS) {
    GST_ELEMENT_FLOW_ERROR(element_, all);
    endAfterError();
  }
}

// -------------------------------------------------------------------------------------------------
// Pushing

bool Demuxer::isPastStop(Output& output, const TimedPacket& packet) const {
  if (packet.kind == StreamKind::audio) return span_.isPastStop(packet.frame);
  const bool late = span_.isPastStopTime(packet.hostUnits);
  output.late = late ? output.late + 1 : 0;
  return output.late > kReorderedPictures;
}

GstSegment Demuxer::segmentOf(const Output& output) const {
  GST_OBJECT_LOCK(element_);
  GstSegment segment = segment_;
  GST_OBJECT_UNLOCK(element_);
  const SegmentBounds bounds = output.kind == StreamKind::audio
                                   ? span_.audioBounds(reader_->firstFrame())
                                   : span_.videoBounds(reader_->offset());
  segment.duration = GST_CLOCK_TIME_NONE;
  segment.start = segment.position = bounds.start;
  segment.stop = bounds.stop;
  segment.time = bounds.time;
  return segment;
}

void Demuxer::announce(Output& output) {
  if (output.needsSegment) {
    output.needsSegment = false;
    const GstSegment segment = segmentOf(output);
    GstEvent* const event = gst_event_new_segment(&segment);
    gst_event_set_seqnum(event, sequence_);
    gst_pad_push_event(output.pad, event);
  }
  if (!output.told) {
    output.told = true;
    pushTags(output);
    pushToc(output);
  }
}

void Demuxer::pushTags(Output& output) {
  const Title title = reader_->titleIsOfItem() ? Title::keep : Title::leaveOut;
  if (GstTagList* const list = makeTagList(reader_->tags(), title)) {
    gst_pad_push_event(output.pad, gst_event_new_tag(list));
  }
  // A pad that is being closed has no caps any more.
  GstCaps* const caps = gst_pad_get_current_caps(output.pad);
  if (!caps) return;
  GstTagList* const codec = gst_tag_list_new_empty();
  gst_tag_list_set_scope(codec, GST_TAG_SCOPE_STREAM);
  gst_pb_utils_add_codec_description_to_tag_list(codec, nullptr, caps);
  gst_caps_unref(caps);
  gst_pad_push_event(output.pad, gst_event_new_tag(codec));
}

void Demuxer::pushToc(Output& output) {
  if (!hasToc_) return;
  GstToc* const toc = makeToc(reader_->chapters(), span_.endNs());
  gst_pad_push_event(output.pad, gst_event_new_toc(toc, FALSE));
  gst_toc_unref(toc);
}

GstFlowReturn Demuxer::push(Output& output, TimedPacket& packet) {
  announce(output);
  GstBuffer* const buffer = packet.buffer.release();
  uint64_t reached = 0;
  if (packet.kind == StreamKind::audio) {
    const uint32_t rate = reader_->sampleRate();
    const uint64_t end = bufferNs(packet.frame + packet.frames, rate);
    GST_BUFFER_PTS(buffer) = bufferNs(packet.frame, rate);
    GST_BUFFER_DURATION(buffer) = end - GST_BUFFER_PTS(buffer);
    reached = end;
  } else {
    GST_BUFFER_PTS(buffer) = nsFromHostUnits(packet.hostUnits);
    reached = GST_BUFFER_PTS(buffer);
  }
  if (output.discont) {
    output.discont = false;
    GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
  }
  const uint64_t origin = nsFromHostUnits(reader_->itemStart());
  GST_OBJECT_LOCK(element_);
  const uint64_t inItem = std::min(reached - std::min(origin, reached), durationNs_);
  segment_.position = std::max(segment_.position, inItem);
  GST_OBJECT_UNLOCK(element_);
  return gst_pad_push(output.pad, buffer);
}

void Demuxer::endOutput(Output& output) {
  if (output.ended) return;
  output.ended = true;
  announce(output);
  if (!playsSegment()) pushEnd(output);
}

void Demuxer::pushEnd(const Output& output) {
  GstEvent* const event = gst_event_new_eos();
  gst_event_set_seqnum(event, sequence_);
  gst_pad_push_event(output.pad, event);
}

void Demuxer::finish() {
  finished_ = true;
  if (playsSegment()) {
    GST_OBJECT_LOCK(element_);
    const uint64_t stop =
        GST_CLOCK_TIME_IS_VALID(segment_.stop) ? segment_.stop : segment_.position;
    segment_.position = stop;
    GST_OBJECT_UNLOCK(element_);
    const auto position = static_cast<gint64>(stop);
    GstMessage* const message =
        gst_message_new_segment_done(GST_OBJECT(element_), GST_FORMAT_TIME, position);
    gst_message_set_seqnum(message, sequence_);
    gst_element_post_message(element_, message);
    GstEvent* const event = gst_event_new_segment_done(GST_FORMAT_TIME, position);
    gst_event_set_seqnum(event, sequence_);
    pushToOutputs(event);
  }
  pause();
}

void Demuxer::tellEarlyEnd() {
  if (toldEarlyEnd_ || !reader_->picturesAreLeft()) return;
  toldEarlyEnd_ = true;
  GST_ELEMENT_INFO(element_, STREAM, DEMUX,
                   ("The video ends before the last picture of the file: those that are left are "
                    "shown at or after the end of the item."),
                   (nullptr));
}

void Demuxer::fail(const Failure& failure) {
  if (failure.result == TIOResult::cancelled) {
    pause();
    return;
  }
  if (failure.result == kPullFailed) {
    GST_ELEMENT_ERROR(element_, RESOURCE, READ, ("The source could not be read."),
                      ("%s", failure.sentence.c_str()));
  } else {
    GST_ELEMENT_ERROR(element_, STREAM, DEMUX, ("%s", failure.sentence.c_str()), (nullptr));
  }
  endAfterError();
}

/// Nothing more can follow, whatever the last seek asked for.
void Demuxer::endAfterError() {
  for (Output& output : outputs_) {
    endOutput(output);
    if (playsSegment()) pushEnd(output);
  }
  pause();
}

void Demuxer::pushToOutputs(GstEvent* event) {
  std::vector<GstPad*> pads;
  GST_OBJECT_LOCK(element_);
  for (const Output& output : outputs_) pads.push_back(output.pad);
  GST_OBJECT_UNLOCK(element_);
  for (GstPad* const pad : pads) gst_pad_push_event(pad, gst_event_ref(event));
  gst_event_unref(event);
}

// -------------------------------------------------------------------------------------------------
// Events and queries

bool Demuxer::handleSeek(GstEvent* event) {
  gdouble rate = 1;
  GstFormat format = GST_FORMAT_UNDEFINED;
  GstSeekFlags flags = GST_SEEK_FLAG_NONE;
  gst_event_parse_seek(event, &rate, &format, &flags, nullptr, nullptr, nullptr, nullptr);
  if (format != GST_FORMAT_TIME || rate <= 0 || (flags & GST_SEEK_FLAG_INSTANT_RATE_CHANGE)) {
    return false;
  }
  const std::thread::id caller = std::this_thread::get_id();
  // Somebody answers the flush of a seek with a seek.
  if (seekingThread_ == caller) return false;
  GST_OBJECT_LOCK(element_);
  GstSegment segment = segment_;
  GST_OBJECT_UNLOCK(element_);
  const bool possible = moveSegment(event, segment);

  std::unique_lock<std::mutex> lock(seekMutex_);
  if (!active_ || !opened_) return false;
  // A pipeline sends each seek to all of its sinks, so it comes once for each stream.
  const guint32 sequence = gst_event_get_seqnum(event);
  if (isKnown(sequence)) return true;
  if (!possible || taskSeeks_.size() + waitingSeeks_.size() >= kMostWaiting) return false;
  remember(sequence);
  taskSeeks_.emplace_back(gst_event_ref(event));
  if (!isFlushing(event) || streamingThread_ == caller) {
    // The task follows a seek between two packets: one without a flush waits for its turn anyway,
    // and for one that comes out of the task there is no other way.
    if (!seeking_) gst_pad_start_task(sinkPad_, runTask, this, nullptr);
    return true;
  }
  // A flush takes those along that came before.
  std::move(taskSeeks_.begin(), taskSeeks_.end(), std::back_inserter(waitingSeeks_));
  taskSeeks_.clear();
  if (!seeking_) performAll(lock);
  return true;
}

/// Performs the seeks that wait for a flush, and those that come from other threads meanwhile.
/// @param lock  on the mutex of the seeks; given up meanwhile
void Demuxer::performAll(std::unique_lock<std::mutex>& lock) {
  seeking_ = true;
  while (!waitingSeeks_.empty() && active_ && opened_) {
    const std::deque<EventPtr> seeks = std::exchange(waitingSeeks_, {});
    lock.unlock();
    seekingThread_ = std::this_thread::get_id();
    const guint32 sequence = gst_event_get_seqnum(seeks.back().get());
    beginFlush(sequence);
    gst_pad_pause_task(sinkPad_);
    GST_PAD_STREAM_LOCK(sinkPad_);
    endFlush(sequence);
    for (const EventPtr& event : seeks) beginAt(event.get());
    lock.lock();
    if (waitingSeeks_.empty()) gst_pad_start_task(sinkPad_, runTask, this, nullptr);
    GST_PAD_STREAM_UNLOCK(sinkPad_);
    seekingThread_ = std::thread::id();
  }
  seeking_ = false;
  seekEnded_.notify_all();
}

/// Whether a seek is one of the last that were accepted. The mutex of the seeks is held.
bool Demuxer::isKnown(guint32 sequence) const {
  return std::find(lastSeeks_.begin(), lastSeeks_.end(), sequence) != lastSeeks_.end();
}

void Demuxer::remember(guint32 sequence) {
  std::rotate(lastSeeks_.begin(), lastSeeks_.begin() + 1, lastSeeks_.end());
  lastSeeks_.back() = sequence;
}

void Demuxer::beginFlush(guint32 sequence) {
  token_.setFlushing(true);
  GstEvent* const event = gst_event_new_flush_start();
  gst_event_set_seqnum(event, sequence);
  gst_pad_push_event(sinkPad_, gst_event_ref(event));
  pushToOutputs(event);
}

void Demuxer::endFlush(guint32 sequence) {
  GstEvent* const event = gst_event_new_flush_stop(TRUE);
  gst_event_set_seqnum(event, sequence);
  gst_pad_push_event(sinkPad_, gst_event_ref(event));
  pushToOutputs(event);
  token_.setFlushing(false);
}

/// Lets playing begin where a seek wants it. The stream is the caller's.
void Demuxer::beginAt(GstEvent* event) {
  GstSeekFlags flags = GST_SEEK_FLAG_NONE;
  gst_event_parse_seek(event, nullptr, nullptr, &flags, nullptr, nullptr, nullptr, nullptr);
  const bool flush = isFlushing(event);
  GST_OBJECT_LOCK(element_);
  GstSegment segment = segment_;
  GST_OBJECT_UNLOCK(element_);
  // The last packet may reach past the place where playing stops.
  segment.position = std::min(segment.position, segment.stop);
  const uint64_t base =
      flush ? 0 : gst_segment_to_running_time(&segment, GST_FORMAT_TIME, segment.position);
  // Another seek may have made it impossible meanwhile. After a flush something has to follow, if
  // only from where playing was.
  if (!moveSegment(event, segment) && !flush) return;
  segment.start = segment.time = segment.position;
  segment.base = base;
  segment.offset = 0;
  sequence_ = gst_event_get_seqnum(event);
  seek_.offsetNs = segment.position;
  // The item's end in ns is not exact in the plug-in's units.
  span_.stopAt(segment.stop < durationNs_ ? hostUnitsFromNs(segment.stop) : vela::kUnknown64);
  seek_.mode = (flags & GST_SEEK_FLAG_KEY_UNIT) && !(flags & GST_SEEK_FLAG_ACCURATE)
                   ? SeekMode::keyUnit
                   : SeekMode::accurate;
  seekPending_ = true;
  cutShort_ = false;
  finished_ = false;
  gst_flow_combiner_reset(flows_);
  for (Output& output : outputs_) {
    output.needsSegment = output.discont = true;
    output.ended = false;
    output.late = 0;
  }
  GST_OBJECT_LOCK(element_);
  segment_ = segment;
  GST_OBJECT_UNLOCK(element_);
}

bool Demuxer::handleTocSelect(GstEvent* event) {
  gchar* uid = nullptr;
  gst_event_parse_toc_select(event, &uid);
  uint64_t start = 0;
  GST_OBJECT_LOCK(element_);
  const bool known = hasToc_ && uid && chapterStart(chapters_, uid, start);
  const gdouble rate = segment_.rate;
  GST_OBJECT_UNLOCK(element_);
  g_free(uid);
  if (!known) return false;
  const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
  GstEvent* const seek =
      gst_event_new_seek(rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET,
                         static_cast<gint64>(start), GST_SEEK_TYPE_NONE, GST_CLOCK_STIME_NONE);
  gst_event_set_seqnum(seek, gst_event_get_seqnum(event));
  const bool done = handleSeek(seek);
  gst_event_unref(seek);
  return done;
}

bool Demuxer::handleQuery(GstQuery* query) {
  GST_OBJECT_LOCK(element_);
  const GstSegment segment = segment_;
  const uint64_t duration = durationNs_;
  GST_OBJECT_UNLOCK(element_);
  GstFormat format = GST_FORMAT_UNDEFINED;
  switch (GST_QUERY_TYPE(query)) {
    case GST_QUERY_POSITION:
      gst_query_parse_position(query, &format, nullptr);
      if (format != GST_FORMAT_TIME) return false;
      gst_query_set_position(query, format, static_cast<gint64>(segment.position));
      return true;
    case GST_QUERY_DURATION:
      gst_query_parse_duration(query, &format, nullptr);
      if (format != GST_FORMAT_TIME || !GST_CLOCK_TIME_IS_VALID(duration)) return false;
      gst_query_set_duration(query, format, static_cast<gint64>(duration));
      return true;
    case GST_QUERY_SEEKING: {
      gst_query_parse_seeking(query, &format, nullptr, nullptr, nullptr);
      const bool time = format == GST_FORMAT_TIME;
      gst_query_set_seeking(query, format, time, time ? 0 : -1,
                            time ? static_cast<gint64>(duration) : -1);
      return true;
    }
    case GST_QUERY_SEGMENT: {
      const uint64_t stop = GST_CLOCK_TIME_IS_VALID(segment.stop) ? segment.stop : duration;
      gst_query_set_segment(query, segment.rate, GST_FORMAT_TIME,
                            static_cast<gint64>(segment.start), static_cast<gint64>(stop));
      return true;
    }
    default:
      return false;
  }
}

}  // namespace velagst
