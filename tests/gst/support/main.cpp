// Starts the framework for a test program, with the element that was built and nothing of the
// user's own settings.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

/// A tracer that was asked for and is not installed would find nothing, without a word.
bool tracersAreThere() {
  if (!std::getenv("GST_TRACERS")) return true;
  GList* const tracers = gst_tracing_get_active_tracers();
  const bool there = tracers != nullptr;
  g_list_free_full(tracers, gst_object_unref);
  return there;
}

}  // namespace

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  setenv("GST_PLUGIN_PATH_1_0", VELA_GST_PLUGIN_FOLDER, 1);
  setenv("GST_REGISTRY_1_0", VELA_GST_REGISTRY, 1);
  setenv("VELA_PLUGIN", VELA_PLUGIN_FILE, 1);
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
  // The framework's scanner is not instrumented and can't load the element.
  gst_registry_fork_set_enabled(FALSE);
#endif
  gst_init(nullptr, nullptr);
  if (!tracersAreThere()) {
    std::puts("The framework doesn't have the tracer that GST_TRACERS names.");
    return 1;
  }
  const int status = RUN_ALL_TESTS();
  gst_deinit();
  return status;
}
