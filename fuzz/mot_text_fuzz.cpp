// Files of detections: any bytes give frames of sane numbers or one line that says what is wrong, and
// what was read comes back when it is written.
#include <cmath>
#include <sstream>
#include <string>

#include "apps/detections/mot_text.h"
#include "apps/support/failure.h"
#include "fuzz/fuzz_input.h"

namespace {

tarnkit::MotFrames parse(const std::string& text) {
  std::istringstream in(text);
  return tarnkit::readMotFrames(in, "boxes.txt");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarnkit::MotFrames frames;
  try {
    frames = parse(std::string(data, data + size));
  } catch (const tarnkit::Failure& fault) {
    const std::string line = fault.what();
    FUZZ_CHECK(line.rfind("boxes.txt:", 0) == 0);
    for (const char c : line) FUZZ_CHECK(static_cast<unsigned char>(c) >= 0x20);
    return 0;
  }
  std::string written;
  for (const auto& [number, boxes] : frames) {
    FUZZ_CHECK(number >= 1 && !boxes.empty());
    for (const tarnkit::MotBox& box : boxes) {
      FUZZ_CHECK(std::isfinite(box.left) && std::isfinite(box.top) && std::isfinite(box.score));
      FUZZ_CHECK(box.width > 0.0 && box.height > 0.0 && box.width <= 1e6 && box.height <= 1e6);
      // Three decimals make nothing of smaller ones, which the reader then refuses.
      if (box.width < 0.001 || box.height < 0.001) return 0;
      written += tarnkit::motLine(number, box);
    }
    for (const Tarn::TarnBoundingBox2D& box : tarnkit::toFractions(boxes, 640, 480))
      FUZZ_CHECK(std::isfinite(box.x) && std::isfinite(box.y) && std::isfinite(box.w) &&
                 std::isfinite(box.h) && std::isfinite(box.score));
  }
  // Rounding to three decimals happens once.
  std::string again;
  for (const auto& [number, boxes] : parse(written)) again += tarnkit::motLines(number, boxes);
  FUZZ_CHECK(again == written);
  return 0;
}
