/// \file
/// OpenCV's matrices as views for tn_preprocess.h, without copies.
///
/// Header-only and optional: a program that includes it has OpenCV's headers and links its core; the
/// library itself does neither. May run on several threads at once.
#ifndef TN_PREPROCESS_OPENCV_H_
#define TN_PREPROCESS_OPENCV_H_

#include <cstddef>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>

#include "tn_preprocess.h"

namespace Tarn {

/// A view of a matrix's pixels; the matrix must outlive its use. Rows may have any step, so the matrix
/// may be a part of another one.
///
/// format: what the pixels are, since a matrix does not say it.
/// - kRgb, kBgr (OpenCV's own order) of CV_8UC3; kRgba, kBgra of CV_8UC4; kGray of CV_8UC1.
/// - kNv12, kNv21, kI420, kYv12 of CV_8UC1 with half as many rows again as the picture, of even size, as
///   cv::cvtColor takes them. Two chroma rows of kI420 and kYv12 share a row of the matrix, so the
///   matrix has to be continuous.
/// - kYuyv, kUyvy of CV_8UC2 with an even number of columns.
///
/// YUV is BT.601 in the limited range, as for OpenCV's own conversions: set matrix, range and siting of
/// the view for frames of another kind.
/// Errors: std::invalid_argument for other formats, and when type, size or step do not fit the format.
inline FrameView frameView(const cv::Mat& mat, FrameFormat format) {
  const auto refuse = [](const char* field, const std::string& fault) {
    throw std::invalid_argument(std::string(field) + ": " + fault);
  };
  int type = CV_8UC1;
  switch (format) {
    case FrameFormat::kRgb:
    case FrameFormat::kBgr:
      type = CV_8UC3;
      break;
    case FrameFormat::kRgba:
    case FrameFormat::kBgra:
      type = CV_8UC4;
      break;
    case FrameFormat::kYuyv:
    case FrameFormat::kUyvy:
      type = CV_8UC2;
      break;
    case FrameFormat::kNv12:
    case FrameFormat::kNv21:
    case FrameFormat::kI420:
    case FrameFormat::kYv12:
    case FrameFormat::kGray:
      break;
    default:
      refuse("format",
             "no matrix holds frames of the format " + std::to_string(static_cast<int>(format)));
  }
  if (mat.dims > 2) refuse("dims", "the matrix has more than two");
  if (mat.empty()) refuse("data", "the matrix has no pixels");
  if (mat.type() != type)
    refuse("type",
           "the matrix holds " + cv::typeToString(mat.type()) + ", not " + cv::typeToString(type));

  FrameView view;
  view.format = format;
  view.width = mat.cols;
  view.height = mat.rows;
  view.matrix = YuvMatrix::kBt601;
  const std::size_t step =
      mat.rows > 1 ? mat.step[0] : mat.elemSize() * static_cast<std::size_t>(mat.cols);
  const auto plane = [&](int index, const unsigned char* at, std::size_t stride) {
    view.planes[index] = at;
    view.strides[index] = static_cast<std::ptrdiff_t>(stride);
    view.bytes[index] = static_cast<std::size_t>(mat.dataend - at);
  };
  plane(0, mat.data, step);
  if (type == CV_8UC2) {
    if (mat.cols % 2 != 0) refuse("cols", std::to_string(mat.cols) + " is not even");
    if (static_cast<std::size_t>(mat.data - mat.datastart) % mat.step[0] % 4 != 0)
      refuse("data", "begins in the midst of a pair of pixels");
  }
  if (type != CV_8UC1 || format == FrameFormat::kGray) return view;

  if (mat.rows % 3 != 0) refuse("rows", std::to_string(mat.rows) + " is not half as many again as even");
  if (mat.cols % 2 != 0) refuse("cols", std::to_string(mat.cols) + " is not even");
  view.height = mat.rows / 3 * 2;
  const unsigned char* const chroma = mat.data + step * static_cast<std::size_t>(view.height);
  if (format == FrameFormat::kNv12 || format == FrameFormat::kNv21) {
    plane(1, chroma, step);
    return view;
  }
  if (!mat.isContinuous())
    refuse("step", "planes of half width need a continuous matrix; clone() makes one");
  const std::size_t half = static_cast<std::size_t>(mat.cols / 2);
  plane(1, chroma, half);
  plane(2, chroma + half * static_cast<std::size_t>(view.height / 2), half);
  return view;
}

}  // namespace Tarn

#endif  // TN_PREPROCESS_OPENCV_H_
