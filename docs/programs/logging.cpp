// Takes the library's log lines into the program's own hands.
#include <tn_cnn.h>
#include <tn_core.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

void keep(Tarn::LogLevel level, const char* tag, const char* message, void* user) {
  const char* const letter = level == Tarn::LogLevel::kError ? "E" : "V";
  static_cast<std::vector<std::string>*>(user)->push_back(std::string(letter) + " " + tag + ": " +
                                                          message);
}

}  // namespace

int main() {
  std::vector<std::string> lines;
  Tarn::setLogSink(keep, &lines);

  Tarn::_LogVerbose("demo", "dropped: nobody asked for details");
  Tarn::setVerboseLogging(true);
  Tarn::_LogVerbose("demo", "%d of %d", 1, 2);
  // A mistake: no picture has pixels of type 7.
  const unsigned char pixel[4] = {};
  const TarnCPU::Mat nothing = TarnCPU::Mat::from_pixels(pixel, 7, 1, 1);

  Tarn::setLogSink(nullptr);  // `lines` is ours again; lines go to standard error from here on
  for (const std::string& line : lines) std::printf("%s\n", line.c_str());
  std::printf("the tensor is %s\n", nothing.empty() ? "empty" : "there");
}
