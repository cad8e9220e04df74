// Tags of the plug-in as tags of the framework.
#pragma once
#include <gst/gst.h>

#include "gst/item_info.h"

namespace velagst {

/// Whether a title belongs to what is played.
enum class Title { keep, leaveOut };

/// A new list of global scope, owned by the caller; null when there is nothing to tell.
/// Names without a tag of their own become extended comments, "name=value".
GstTagList* makeTagList(const ItemInfo& info, Title title);

}  // namespace velagst
