// The plug-in library of the framework: one element.
#include <gst/gst.h>

#include "gst/vela_demux.h"

#define PACKAGE "vela_splitter_mp4"

namespace {

gboolean initialize(GstPlugin* plugin) { return velaDemuxRegister(plugin); }

}  // namespace

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, vela,
                  "MP4 files through the splitter plug-in vela_splitter_mp4", initialize,
                  VELA_VERSION, "MIT/X11", "vela_splitter_mp4", "unknown")
