// A network library that runs nothing: it notes each call, in order.
#ifndef TN_KITS_TESTS_PLATFORM_RECORDING_PLATFORM_H_
#define TN_KITS_TESTS_PLATFORM_RECORDING_PLATFORM_H_

#include <string>
#include <vector>

namespace tn_test {

struct RecordingPlatform {
  // How the calls go that can fail.
  bool loads = true;
  int input_code = 0, extract_code = 0;
  int last_layer = 41;
  std::string text = "the text";
  bool aloud = false;  // writes calls to standard error too, for tests of how the program ends

  std::vector<std::string> calls;  // also constructions and releases of the objects that callers hold

  static RecordingPlatform& get();
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_PLATFORM_RECORDING_PLATFORM_H_
