// The streaming side of the element: a task on the sink pad that opens the file, follows seeks and
// pushes packets; and the answers to events and queries that come from other threads.
#pragma once
#include <gst/base/gstflowcombiner.h>
#include <gst/gst.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "gst/cancel_token.h"
#include "gst/item_reader.h"
#include "gst/item_span.h"
#include "gst/output.h"
#include "gst/pull_stream.h"
#include "gst/splitter_library.h"

namespace velagst {

// Functions of the source pads, of the element's glue.
gboolean handleSourceEvent(GstPad* pad, GstObject* parent, GstEvent* event);
gboolean handleSourceQuery(GstPad* pad, GstObject* parent, GstQuery* query);

struct UnrefEvent {
  void operator()(GstEvent* event) const { gst_event_unref(event); }
};
using EventPtr = std::unique_ptr<GstEvent, UnrefEvent>;

class Demuxer {
 public:
  /// @param element, sinkPad  borrowed; outlive the object
  Demuxer(GstElement* element, GstPad* sinkPad);
  Demuxer(const Demuxer&) = delete;
  Demuxer& operator=(const Demuxer&) = delete;
  ~Demuxer();

  // Properties, guarded by the element's object lock. The library is taken when the element leaves
  // NULL, the item when it leaves READY.
  std::string library;  ///< empty: the usual places
  uint32_t item = 0;    ///< 0: the whole file

  // State changes, in this order and back.
  bool loadLibrary();
  void prepare();
  bool activate(bool active);  ///< starts or ends the task
  void cancel();               ///< what runs in the task ends soon
  void closeFile();
  void unloadLibrary();

  // From any thread. @return whether the event or query was answered; it stays the caller's
  bool handleSeek(GstEvent* event);
  bool handleTocSelect(GstEvent* event);
  bool handleQuery(GstQuery* query);

 private:
  struct PendingSeek {
    uint64_t offsetNs = 0;
    SeekMode mode = SeekMode::accurate;
  };

  static void runTask(gpointer self);
  void run();
  void step();
  void followTaskSeek(std::unique_lock<std::mutex>& lock, EventPtr event);
  void performAll(std::unique_lock<std::mutex>& lock);
  void beginAt(GstEvent* event);
  bool isKnown(guint32 sequence) const;
  void remember(guint32 sequence);
  void beginFlush(guint32 sequence);
  void endFlush(guint32 sequence);
  bool openFile();
  bool exposeOutputs();
  void addOutput(StreamKind kind, const char* name, GstCaps* caps, guint group);
  bool followSeek();
  void pushNext();
  GstFlowReturn push(Output& output, TimedPacket& packet);
  bool isPastStop(Output& output, const TimedPacket& packet) const;
  void announce(Output& output);
  GstSegment segmentOf(const Output& output) const;
  void pushToc(Output& output);
  void pushTags(Output& output);
  void endOutput(Output& output);
  void pushEnd(const Output& output);
  void endAfterError();
  void finish();
  void tellEarlyEnd();
  void fail(const Failure& failure);
  void pause();
  void pushToOutputs(GstEvent* event);
  Output* outputOf(StreamKind kind);
  /// Whether the end of what is played is that of a segment, which others may follow.
  bool playsSegment() const { return (segment_.flags & GST_SEGMENT_FLAG_SEGMENT) != 0; }

  GstElement* element_;
  GstPad* sinkPad_;
  PadContext context_;
  CancelToken token_;
  std::unique_ptr<SplitterLibrary> library_;
  std::unique_ptr<ItemReader> reader_;

  // One thread flushes and seeks at a time, and no other one waits for it: seeks that come
  // meanwhile are left to it. For any thread may be the one that a flush waits for, that of a queue
  // after the element for one. For the same reason seeks without a flush are left to the task.
  // Only the end of the task waits.
  std::mutex seekMutex_;  // guards what follows, and is held for moments only
  std::condition_variable seekEnded_;
  bool active_ = false;                 // the task may be started
  bool seeking_ = false;                // a flushing seek is under way
  std::deque<EventPtr> waitingSeeks_;   // for the thread that seeks; the last one flushes
  std::deque<EventPtr> taskSeeks_;      // for the task; they came later than the others
  std::array<guint32, 8> lastSeeks_{};  // that were accepted

  std::atomic<bool> opened_{false};
  // The thread that pushes packets and the one that seeks; none where there is no such thread now.
  std::atomic<std::thread::id> streamingThread_{};
  std::atomic<std::thread::id> seekingThread_{};

  // Of the streaming thread, or of who holds its lock. Outputs come and go under the element's
  // object lock, too, for a flush that begins in another thread.
  std::vector<Output> outputs_;
  uint32_t playedItem_ = 0;
  GstFlowCombiner* flows_;
  ItemSpan span_{0, vela::kUnknown64, 0};  // what is played
  bool seekPending_ = false;
  PendingSeek seek_;
  guint32 sequence_ = GST_SEQNUM_INVALID;
  bool finished_ = false;  // all that the seek asked for was pushed
  bool cutShort_ = false;  // a stream was ended before the file's own end of it
  bool toldEarlyEnd_ = false;

  // Guarded by the element's object lock: what queries look at. In the time of the item.
  GstSegment segment_;
  uint64_t durationNs_ = GST_CLOCK_TIME_NONE;
  std::vector<ChapterMark> chapters_;
  bool hasToc_ = false;
};

}  // namespace velagst
