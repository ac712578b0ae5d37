// Turns, mirrors, cuts and the resizer of byte pairs beside libyuv and OpenCV, on one thread. The memcpy
// contestant copies the bytes that the job must read once and write once: the limit.

#include <cstdint>
#include <string>

#include "benchmarks/benchmark_main.h"
#include "benchmarks/peers.h"
#include "tn_cv.h"

namespace {

using TarnCPU::TN_CV;

std::string sized(const char* name, int w, int h) { return std::string(name) + " " + sizeName(w, h); }

void addTurns(int w, int h) {
  using Turn = void (*)(const unsigned char*, int, int, unsigned char*);
  struct Case {
    const char* name;
    Turn turn;
    int c, code;
    libyuv::RotationMode mode;
  };
  static const Case cases[] = {
      {"rotate90 3ch", TN_CV::rotate90_intrinsics_3_channel, 3, cv::ROTATE_90_CLOCKWISE,
       libyuv::kRotate90},
      {"rotate90 4ch", TN_CV::rotate90_intrinsics_4_channel, 4, cv::ROTATE_90_CLOCKWISE,
       libyuv::kRotate90},
      {"anti_rotate90 3ch", TN_CV::anti_rotate90_intrinsics_3_channel, 3, cv::ROTATE_90_COUNTERCLOCKWISE,
       libyuv::kRotate270},
      {"anti_rotate90 4ch", TN_CV::anti_rotate90_intrinsics_4_channel, 4, cv::ROTATE_90_COUNTERCLOCKWISE,
       libyuv::kRotate270},
  };
  for (const Case& k : cases) {
    const std::string row = sized(k.name, w, h);
    addRow(row, "tn_kits", [=] { k.turn(sourceBytes(), w, h, destinationBytes()); });
    if (k.c == 4)
      addRow(row, "libyuv",
             [=] { libyuv::ARGBRotate(sourceBytes(), 4 * w, destinationBytes(), 4 * h, w, h, k.mode); });
    addRow(row, "opencv", [=] {
      cv::Mat out = picture(destinationBytes(), h, w, k.c);
      cv::rotate(picture(sourceBytes(), w, h, k.c), out, k.code);
    });
    addLimit(row, Tarn::turnExtents(w, h, k.c));
  }
}

void addFlips(int w, int h) {
  for (int c : {1, 3, 4}) {
    const std::string suffix = " " + std::to_string(c) + "ch";
    const std::string across = sized(("flip_horizontal" + suffix).c_str(), w, h);
    addRow(across, "tn_kits",
           [=] { TN_CV::flip_horizontal(sourceBytes(), w, h, destinationBytes(), c); });
    addRow(across, "libyuv", [=] {
      const auto mirror = c == 3 ? libyuv::RGB24Mirror : libyuv::ARGBMirror;
      if (c == 1)
        libyuv::MirrorPlane(sourceBytes(), w, destinationBytes(), w, w, h);
      else
        mirror(sourceBytes(), c * w, destinationBytes(), c * w, w, h);
    });
    addRow(across, "opencv", [=] {
      cv::Mat out = picture(destinationBytes(), w, h, c);
      cv::flip(picture(sourceBytes(), w, h, c), out, 1);
    });
    addLimit(across, Tarn::turnExtents(w, h, c));
    if (c == 1) continue;  // rows are copied whole: the number of channels makes no difference

    const std::string down = sized(("flip_vertical" + suffix).c_str(), w, h);
    addRow(down, "tn_kits", [=] { TN_CV::flip_vertical(sourceBytes(), w, h, destinationBytes(), c); });
    addRow(down, "libyuv",
           [=] { libyuv::CopyPlane(sourceBytes(), c * w, destinationBytes(), c * w, c * w, -h); });
    addRow(down, "opencv", [=] {
      cv::Mat out = picture(destinationBytes(), w, h, c);
      cv::flip(picture(sourceBytes(), w, h, c), out, 0);
    });
    addLimit(down, Tarn::turnExtents(w, h, c));
  }
}

// Cuts the middle: three quarters of the width and of the height.
void addCuts(int w, int h) {
  const int cw = w / 4 * 3, ch = h / 4 * 3, x = w / 8, y = h / 8;
  const cv::Rect box(x, y, cw, ch);

  const std::string packed = sized("cut_packed 3ch", w, h);
  addRow(packed, "tn_kits", [=] {
    TN_CV::cut_sub_img_inhwc_outhwc(sourceBytes(), w, h, destinationBytes(), cw, ch, x, y, 3);
  });
  addRow(packed, "libyuv", [=] {
    libyuv::CopyPlane(sourceBytes() + 3 * (y * w + x), 3 * w, destinationBytes(), 3 * cw, 3 * cw, ch);
  });
  addRow(packed, "opencv", [=] {
    cv::Mat out = picture(destinationBytes(), cw, ch, 3);
    picture(sourceBytes(), w, h, 3)(box).copyTo(out);
  });
  const std::size_t pixels = Tarn::pictureExtent(cw, ch, 3).bytes;
  addLimit(packed, pixels, pixels);

  const std::string planar = sized("cut_planar 3ch", w, h);
  addRow(planar, "tn_kits", [=] {
    TN_CV::cut_sub_img_inchw_outchw(reinterpret_cast<const float*>(sourceBytes()), w, h,
                                    reinterpret_cast<float*>(destinationBytes()), cw, ch, x, y, 3);
  });
  addRow(planar, "libyuv", [=] {
    for (int k = 0; k < 3; ++k)
      libyuv::CopyPlane(sourceBytes() + 4 * ((k * h + y) * w + x), 4 * w,
                        destinationBytes() + 4 * k * cw * ch, 4 * cw, 4 * cw, ch);
  });
  addRow(planar, "opencv", [=] {
    for (int k = 0; k < 3; ++k) {
      cv::Mat out(ch, cw, CV_32FC1, destinationBytes() + 4 * k * cw * ch);
      cv::Mat(h, w, CV_32FC1, sourceBytes() + 4 * k * w * h)(box).copyTo(out);
    }
  });
  const std::size_t floats = Tarn::tensorExtent(cw, ch, 3).bytes;
  addLimit(planar, floats, floats);
}

void addResize(int sw, int sh, int dw, int dh) {
  const std::string row = sized("resize_bilinear_c2", sw, sh) + sized(" to", dw, dh);
  addRow(row, "tn_kits",
         [=] { TN_CV::resize_bilinear_c2(sourceBytes(), sw, sh, destinationBytes(), dw, dh); });
  addRow(row, "libyuv", [=] {
    libyuv::UVScale(sourceBytes(), 2 * sw, sw, sh, destinationBytes(), 2 * dw, dw, dh,
                    libyuv::kFilterBilinear);
  });
  addRow(row, "opencv", [=] {
    resizeBilinear(picture(sourceBytes(), sw, sh, 2), picture(destinationBytes(), dw, dh, 2));
  });
  addLimit(row, Tarn::resizeExtents(sw, sh, dw, dh, 2));
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);

  addTurns(1920, 1080);
  addTurns(640, 640);
  addFlips(1920, 1080);
  addFlips(640, 480);
  addCuts(1920, 1080);
  addCuts(640, 480);
  addResize(960, 540, 320, 320);
  addResize(960, 540, 640, 360);
  addResize(320, 240, 640, 480);
}
