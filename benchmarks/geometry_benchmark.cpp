// Turns, mirrors, cuts and the pair resizer beside the libraries that people would otherwise use, on one
// thread. The memcpy contestant moves the bytes that the job must read once and write once: the limit.

#include <libyuv.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "benchmarks/benchmark_main.h"
#include "tn_cv.h"

namespace {

using TarnCPU::TN_CV;
cv::Mat image(std::uint8_t* pixels, int w, int h, int type) { return cv::Mat(h, w, type, pixels); }

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
    const std::size_t bytes = std::size_t(w) * std::size_t(h) * std::size_t(k.c);
    addRow(row, "tn_kits", [=] { k.turn(sourceBytes(), w, h, destinationBytes()); });
    if (k.c == 4)
      addRow(row, "libyuv",
             [=] { libyuv::ARGBRotate(sourceBytes(), 4 * w, destinationBytes(), 4 * h, w, h, k.mode); });
    addRow(row, "opencv", [=] {
      cv::Mat out = image(destinationBytes(), h, w, CV_8UC(k.c));
      cv::rotate(image(sourceBytes(), w, h, CV_8UC(k.c)), out, k.code);
    });
    addLimit(row, bytes, bytes);
  }
}

void addFlips(int w, int h) {
  for (int c : {1, 3, 4}) {
    const std::size_t bytes = std::size_t(w) * std::size_t(h) * std::size_t(c);
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
      cv::Mat out = image(destinationBytes(), w, h, CV_8UC(c));
      cv::flip(image(sourceBytes(), w, h, CV_8UC(c)), out, 1);
    });
    addLimit(across, bytes, bytes);
    if (c == 1) continue;  // up and down, a row is a row whatever its channels

    const std::string down = sized(("flip_vertical" + suffix).c_str(), w, h);
    addRow(down, "tn_kits", [=] { TN_CV::flip_vertical(sourceBytes(), w, h, destinationBytes(), c); });
    addRow(down, "libyuv",
           [=] { libyuv::CopyPlane(sourceBytes(), c * w, destinationBytes(), c * w, c * w, -h); });
    addRow(down, "opencv", [=] {
      cv::Mat out = image(destinationBytes(), w, h, CV_8UC(c));
      cv::flip(image(sourceBytes(), w, h, CV_8UC(c)), out, 0);
    });
    addLimit(down, bytes, bytes);
  }
}

// Cuts the middle: three quarters of the width and of the height.
void addCuts(int w, int h) {
  const int cw = w / 4 * 3, ch = h / 4 * 3, x = w / 8, y = h / 8;
  const cv::Rect box(x, y, cw, ch);
  const std::size_t pixels = std::size_t(cw) * std::size_t(ch);

  const std::string packed = sized("cut_packed 3ch", w, h);
  addRow(packed, "tn_kits", [=] {
    TN_CV::cut_sub_img_inhwc_outhwc(sourceBytes(), w, h, destinationBytes(), cw, ch, x, y, 3);
  });
  addRow(packed, "libyuv", [=] {
    libyuv::CopyPlane(sourceBytes() + 3 * (y * w + x), 3 * w, destinationBytes(), 3 * cw, 3 * cw, ch);
  });
  addRow(packed, "opencv", [=] {
    cv::Mat out = image(destinationBytes(), cw, ch, CV_8UC3);
    image(sourceBytes(), w, h, CV_8UC3)(box).copyTo(out);
  });
  addLimit(packed, 3 * pixels, 3 * pixels);

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
      cv::Mat out = image(destinationBytes() + 4 * k * cw * ch, cw, ch, CV_32FC1);
      image(sourceBytes() + 4 * k * w * h, w, h, CV_32FC1)(box).copyTo(out);
    }
  });
  addLimit(planar, 12 * pixels, 12 * pixels);
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
    cv::Mat out = image(destinationBytes(), dw, dh, CV_8UC2);
    cv::resize(image(sourceBytes(), sw, sh, CV_8UC2), out, cv::Size(dw, dh), 0, 0, cv::INTER_LINEAR);
  });
  addLimit(row, 2 * std::size_t(sw) * std::size_t(sh), 2 * std::size_t(dw) * std::size_t(dh));
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
