#include "gst/vela_demux.h"

#include <new>
#include <string>

#include "gst/demuxer.h"

GST_DEBUG_CATEGORY(vela_demux_debug);

namespace {

using velagst::Demuxer;

struct VelaDemux {
  GstElement parent;
  GstPad* sinkPad;
  Demuxer* demuxer;
};

struct VelaDemuxClass {
  GstElementClass parent;
};

enum Property : guint { kPropertyNone, kPropertyLibrary, kPropertyItem };

gpointer parentClass = nullptr;

Demuxer& demuxerOf(gpointer object) { return *static_cast<VelaDemux*>(object)->demuxer; }

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS,
                            GST_STATIC_CAPS("video/quicktime; audio/x-m4a; application/x-3gp"));

GstStaticPadTemplate audioTemplate = GST_STATIC_PAD_TEMPLATE(
    "audio_%u", GST_PAD_SRC, GST_PAD_SOMETIMES,
    GST_STATIC_CAPS("audio/mpeg, mpegversion = (int) 4, stream-format = (string) raw; "
                    "audio/mpeg, mpegversion = (int) 1, layer = (int) 3"));

GstStaticPadTemplate videoTemplate = GST_STATIC_PAD_TEMPLATE(
    "video_%u", GST_PAD_SRC, GST_PAD_SOMETIMES,
    GST_STATIC_CAPS("video/mpeg, mpegversion = (int) 4, systemstream = (boolean) false; "
                    "video/x-h264, stream-format = (string) avc, alignment = (string) au"));

// -------------------------------------------------------------------------------------------------
// The sink pad

bool canPull(GstPad* pad) {
  GstQuery* const query = gst_query_new_scheduling();
  const bool answered = gst_pad_peer_query(pad, query);
  const bool pull = answered && gst_query_has_scheduling_mode_with_flags(
                                    query, GST_PAD_MODE_PULL, GST_SCHEDULING_FLAG_SEEKABLE);
  gst_query_unref(query);
  return pull;
}

gboolean activateSink(GstPad* pad, GstObject* parent) {
  if (canPull(pad)) return gst_pad_activate_mode(pad, GST_PAD_MODE_PULL, TRUE);
  GST_ELEMENT_ERROR(
      GST_ELEMENT(parent), STREAM, DEMUX,
      ("The source can't be read at any place of the file, only from its beginning on. Put a "
       "queue2 "
       "with a temporary file before the element, or set the player's download flag."),
      (nullptr));
  return FALSE;
}

gboolean activateSinkMode(GstPad*, GstObject* parent, GstPadMode mode, gboolean active) {
  if (mode != GST_PAD_MODE_PULL) return FALSE;
  return demuxerOf(parent).activate(active != FALSE);
}

// -------------------------------------------------------------------------------------------------
// The source pads

/// Answers with the caps of the stream, or with what there may be before it is known. The
/// framework's own answer for caps that don't change looks at them after it gave up the pad's lock,
/// when another thread that closes the pad may have freed them.
void answerCaps(GstPad* pad, GstQuery* query) {
  GstCaps* caps = gst_pad_get_current_caps(pad);
  if (!caps) caps = gst_pad_get_pad_template_caps(pad);
  GstCaps* filter = nullptr;
  gst_query_parse_caps(query, &filter);
  if (filter) {
    GstCaps* const all = caps;
    caps = gst_caps_intersect_full(filter, all, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(all);
  }
  gst_query_set_caps_result(query, caps);
  gst_caps_unref(caps);
}

// -------------------------------------------------------------------------------------------------
// The object

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  Demuxer& demuxer = demuxerOf(object);
  GST_OBJECT_LOCK(object);
  if (id == kPropertyLibrary) {
    const gchar* const file = g_value_get_string(value);
    demuxer.library = file ? file : "";
  } else if (id == kPropertyItem) {
    demuxer.item = g_value_get_uint(value);
  } else {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
  GST_OBJECT_UNLOCK(object);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  const Demuxer& demuxer = demuxerOf(object);
  GST_OBJECT_LOCK(object);
  if (id == kPropertyLibrary) {
    const std::string file = velagst::findSplitterLibrary(demuxer.library);
    g_value_set_string(value, file.c_str());
  } else if (id == kPropertyItem) {
    g_value_set_uint(value, demuxer.item);
  } else {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
  GST_OBJECT_UNLOCK(object);
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
  Demuxer& demuxer = demuxerOf(element);
  switch (change) {
    case GST_STATE_CHANGE_NULL_TO_READY:
      if (!demuxer.loadLibrary()) return GST_STATE_CHANGE_FAILURE;
      break;
    case GST_STATE_CHANGE_READY_TO_PAUSED:
      demuxer.prepare();
      break;
    case GST_STATE_CHANGE_PAUSED_TO_READY:
      demuxer.cancel();
      break;
    default:
      break;
  }
  const GstStateChangeReturn result = GST_ELEMENT_CLASS(parentClass)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) demuxer.closeFile();
  if (change == GST_STATE_CHANGE_READY_TO_NULL) demuxer.unloadLibrary();
  return result;
}

void finalize(GObject* object) {
  delete static_cast<VelaDemux*>(static_cast<gpointer>(object))->demuxer;
  G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initializeClass(gpointer klass, gpointer) {
  parentClass = g_type_class_peek_parent(klass);
  auto* const objectClass = G_OBJECT_CLASS(klass);
  auto* const elementClass = GST_ELEMENT_CLASS(klass);
  objectClass->set_property = setProperty;
  objectClass->get_property = getProperty;
  objectClass->finalize = finalize;
  elementClass->change_state = changeState;
  const auto readWrite = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
  const auto whileStopped = static_cast<GParamFlags>(readWrite | GST_PARAM_MUTABLE_READY);
  g_object_class_install_property(
      objectClass, kPropertyLibrary,
      g_param_spec_string(
          "library", "Library",
          "The splitter's library, loaded when the element leaves NULL; by default "
          "VELA_PLUGIN of the environment, one near the element, or the installed one",
          nullptr, readWrite));
  g_object_class_install_property(
      objectClass, kPropertyItem,
      g_param_spec_uint("item", "Item",
                        "The item to play: 0 for the whole file, 1 and up for one chapter of a "
                        "file without video",
                        0, G_MAXUINT, 0, whileStopped));
  gst_element_class_add_static_pad_template(elementClass, &sinkTemplate);
  gst_element_class_add_static_pad_template(elementClass, &audioTemplate);
  gst_element_class_add_static_pad_template(elementClass, &videoTemplate);
  gst_element_class_set_static_metadata(
      elementClass, "Vela MP4 demuxer", "Codec/Demuxer",
      "Plays MP4 and M4A files through the splitter plug-in vela_splitter_mp4",
      "The vela_splitter_mp4 developers");
  GST_DEBUG_CATEGORY_INIT(vela_demux_debug, "velademux", 0, "MP4 through vela_splitter_mp4");
}

void initialize(GTypeInstance* instance, gpointer) {
  auto* const self = static_cast<VelaDemux*>(static_cast<gpointer>(instance));
  self->sinkPad = gst_pad_new_from_static_template(&sinkTemplate, "sink");
  gst_pad_set_activate_function(self->sinkPad, activateSink);
  gst_pad_set_activatemode_function(self->sinkPad, activateSinkMode);
  self->demuxer = new Demuxer(&self->parent, self->sinkPad);
  gst_element_add_pad(&self->parent, self->sinkPad);
}

GType velaDemuxType() {
  static const GType type = [] {
    GTypeInfo info{};
    info.class_size = sizeof(VelaDemuxClass);
    info.class_init = initializeClass;
    info.instance_size = sizeof(VelaDemux);
    info.instance_init = initialize;
    return g_type_register_static(GST_TYPE_ELEMENT, "VelaDemux", &info, GTypeFlags{});
  }();
  return type;
}

}  // namespace

namespace velagst {

gboolean handleSourceEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  bool done = false;
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_SEEK:
      done = demuxerOf(parent).handleSeek(event);
      break;
    case GST_EVENT_TOC_SELECT:
      done = demuxerOf(parent).handleTocSelect(event);
      break;
    default:
      return gst_pad_event_default(pad, parent, event);
  }
  gst_event_unref(event);
  return done;
}

gboolean handleSourceQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  switch (GST_QUERY_TYPE(query)) {
    case GST_QUERY_POSITION:
    case GST_QUERY_DURATION:
    case GST_QUERY_SEEKING:
    case GST_QUERY_SEGMENT:
      return demuxerOf(parent).handleQuery(query);
    case GST_QUERY_CAPS:
      answerCaps(pad, query);
      return TRUE;
    default:
      return gst_pad_query_default(pad, parent, query);
  }
}

}  // namespace velagst

gboolean velaDemuxRegister(GstPlugin* plugin) {
  // Playing through this element is a choice, so it has no rank of its own.
  return gst_element_register(plugin, "velademux", GST_RANK_NONE, velaDemuxType());
}
