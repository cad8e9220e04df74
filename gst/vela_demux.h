// The element `velademux` as the framework's object system sees it.
#pragma once
#include <gst/gst.h>

/// Registers the element. @return whether it could be
gboolean velaDemuxRegister(GstPlugin* plugin);
