// Camera bytes to a tensor, a detector's box, a track, and a cut for a second network.
#include <tn_boxtracker.h>
#include <tn_colormatrix.h>
#include <tn_extents.h>
#include <tn_yuvconverter.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kWidth = 1280, kHeight = 720, kSide = 320;

// The camera: a dark NV12 frame with a bright square that moves to the right.
std::vector<unsigned char> takeFrame(int number) {
  std::vector<unsigned char> nv12(Tarn::frameExtent(TN_PIX_FMT_NV12, kWidth, kHeight).end(), 128);
  std::fill_n(nv12.begin(), kWidth * kHeight, static_cast<unsigned char>(16));
  for (int y = 200; y < 360; ++y)
    std::fill_n(nv12.begin() + y * kWidth + 160 + 32 * number, 160, static_cast<unsigned char>(235));
  return nv12;
}

// The detector, in a network's place: what is bright in the first plane, in fractions of the picture.
Tarn::TarnBoundingBox2D detect(const float* plane) {
  int left = kSide, top = kSide, right = 0, bottom = 0;
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      if (plane[y * kSide + x] < 0.5f) continue;
      left = std::min(left, x), right = std::max(right, x + 1);
      top = std::min(top, y), bottom = std::max(bottom, y + 1);
    }
  }
  const auto share = [](int pixels) { return static_cast<float>(pixels) / kSide; };
  return {share(left), share(top), share(right - left), share(bottom - top), 0.9f, 0};
}

}  // namespace

int main() {
  Tarn::YuvToRgbOptions options;
  for (float& scale : options.scale) scale = 1.0f / 255.0f;
  Tarn::TarnYUVToolKit toolkit(kWidth, kHeight, kWidth / 2, kHeight / 2, kSide, kSide);
  toolkit.setCvtMat(Tarn::makeYuvToRgbMatrix(options));
  Tarn::TarnIdentifiedBoxesTracker<Tarn::TarnKalmanFilterBoxTracker2D> tracker(kWidth, kHeight);

  std::vector<float> tensor(Tarn::tensorExtent(kSide, kSide, 3).end() / sizeof(float));
  for (int number = 1; number <= 3; ++number) {
    std::vector<unsigned char> nv12 = takeFrame(number);
    const _TN_Image frame = {0, TN_PIX_FMT_NV12, kWidth, kHeight, 0, nv12.data()};
    toolkit.convert(frame, {0, TN_PIX_FMT_CHW_F32, kSide, kSide, 0, tensor.data()});

    for (const Tarn::TarnIdentifiedBox& box : tracker.track({detect(tensor.data())})) {
      // Even corners: a chroma sample serves two columns and two rows.
      const int x0 = static_cast<int>(box.x * kWidth + 0.5f) / 2 * 2;
      const int y0 = static_cast<int>(box.y * kHeight + 0.5f) / 2 * 2;
      const int w = static_cast<int>(box.w * kWidth + 0.5f) / 2 * 2;
      const int h = static_cast<int>(box.h * kHeight + 0.5f) / 2 * 2;
      std::vector<unsigned char> bytes(Tarn::cropFrameExtent(false, w, h).end(), 128);
      const _TN_Image cut = {0, TN_PIX_FMT_NV12, w, h, 0, bytes.data()};
      Tarn::TarnYUVToolKit::Crop(frame, cut, x0, y0, x0 + w - 1, y0 + h - 1);
      std::printf("frame %d: box %d at %d,%d, a cut of %dx%d, luma %d in its middle\n", number,
                  static_cast<int>(box.id), x0, y0, w, h, bytes.data()[h / 2 * w + w / 2]);
    }
  }
}
