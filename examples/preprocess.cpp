// Turns a camera's NV12 frame with padded rows into a detector's input, and boxes of the detector into
// boxes of the frame.
#include <tn_preprocess.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main() {
  // A full-HD frame whose rows are 2048 bytes apart: grey, with a white square of 160 pixels.
  const int width = 1920, height = 1080, pitch = 2048;
  std::vector<unsigned char> luma(pitch * height, 126), chroma(pitch * height / 2, 128);
  for (int y = 600; y < 760; ++y) std::fill_n(luma.begin() + y * pitch + 1200, 160, 235);

  Tarn::FrameView frame;
  frame.format = Tarn::FrameFormat::kNv12;
  frame.width = width;
  frame.height = height;
  frame.planes[0] = luma.data();
  frame.planes[1] = chroma.data();
  frame.strides[0] = frame.strides[1] = pitch;
  frame.bytes[0] = luma.size();
  frame.bytes[1] = chroma.size();
  frame.matrix = Tarn::YuvMatrix::kBt709;
  frame.range = Tarn::YuvRange::kLimited;

  // 640 x 640 floats from 0 to 1, channel by channel: the frame in its own shape between grey bars.
  Tarn::TensorSpec spec;
  spec.divisor = 255;
  Tarn::Preprocessor preprocessor(spec);  // once
  std::vector<float> tensor(spec.bytes() / sizeof(float));

  // Every frame.
  const Tarn::Placement placement = preprocessor.run(frame, tensor.data(), spec.bytes());
  const Tarn::Rectangle& content = placement.content;
  std::printf("content %g x %g at %g, %g\n", content.width, content.height, content.x, content.y);

  // In place of a network: where the red plane is nearly white.
  int left = spec.width, top = spec.height, right = 0, bottom = 0;
  for (int y = 0; y < spec.height; ++y)
    for (int x = 0; x < spec.width; ++x) {
      if (tensor[static_cast<std::size_t>(y * spec.width + x)] < 0.75f) continue;
      left = std::min(left, x);
      top = std::min(top, y);
      right = std::max(right, x + 1);
      bottom = std::max(bottom, y + 1);
    }
  std::printf("in the tensor %d x %d at %d, %d\n", right - left, bottom - top, left, top);

  const Tarn::Rectangle found = {double(left), double(top), double(right - left), double(bottom - top)};
  const Tarn::Rectangle box = placement.toFrame(found, true);  // cut off at the frame's edges
  std::printf("in the frame %.0f x %.0f at %.0f, %.0f\n", box.width, box.height, box.x, box.y);
}
