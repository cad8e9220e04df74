// Starts the framework for a test program, with the element that was built and nothing of the
// user's own settings.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdlib>

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  setenv("GST_PLUGIN_PATH_1_0", VELA_GST_PLUGIN_FOLDER, 1);
  setenv("GST_REGISTRY_1_0", VELA_GST_REGISTRY, 1);
  setenv("VELA_PLUGIN", VELA_PLUGIN_FILE, 1);
  gst_init(nullptr, nullptr);
  const int status = RUN_ALL_TESTS();
  gst_deinit();
  return status;
}
