// Thumbnails at a stride that doubles with the length of the video.
#include "apps/drawing/contact_sheet.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <string>

namespace tarnkit {
namespace {

constexpr int kColumns = 3;
constexpr std::size_t kShown = 6;
// Enough to choose from for an even spread, few enough to keep in memory.
constexpr std::size_t kMostKept = 8 * kShown;
constexpr int kWidth = 480;
constexpr int kGap = 6;

}  // namespace

void ContactSheet::add(std::int64_t frame, const cv::Mat& bgr) {
  if (pictures_.empty()) first_ = frame;
  if ((frame - first_) % stride_ != 0) return;
  if (pictures_.size() == kMostKept) {
    for (std::size_t i = 0; i < kMostKept / 2; ++i) pictures_[i] = pictures_[2 * i];
    pictures_.resize(kMostKept / 2);
    stride_ *= 2;
    if ((frame - first_) % stride_ != 0) return;
  }
  cv::Mat thumbnail;
  const int height = std::max(1, cvRound(static_cast<double>(kWidth) * bgr.rows / bgr.cols));
  cv::resize(bgr, thumbnail, cv::Size(kWidth, height), 0.0, 0.0, cv::INTER_AREA);
  pictures_.push_back({frame, thumbnail});
}

std::vector<std::size_t> ContactSheet::chosen() const {
  std::vector<std::size_t> indices;
  const std::size_t count = std::min(kShown, pictures_.size());
  // The middles of `count` equal parts: the very first frames of a video show few tracks.
  for (std::size_t i = 0; i < count; ++i)
    indices.push_back((2 * i + 1) * pictures_.size() / (2 * count));
  return indices;
}

std::vector<std::int64_t> ContactSheet::frames() const {
  std::vector<std::int64_t> numbers;
  for (const std::size_t index : chosen()) numbers.push_back(pictures_[index].frame);
  return numbers;
}

cv::Mat ContactSheet::compose() const {
  const std::vector<std::size_t> indices = chosen();
  if (indices.empty()) return {};
  const int count = static_cast<int>(indices.size());
  const int columns = std::min(kColumns, count), rows = (count + columns - 1) / columns;
  const int height = pictures_.front().thumbnail.rows;
  cv::Mat sheet(rows * (height + kGap) + kGap, columns * (kWidth + kGap) + kGap, CV_8UC3,
                cv::Scalar(32, 32, 32));
  for (int i = 0; i < count; ++i) {
    const Picture& picture = pictures_[indices[static_cast<std::size_t>(i)]];
    const cv::Point corner(kGap + i % columns * (kWidth + kGap), kGap + i / columns * (height + kGap));
    picture.thumbnail.copyTo(sheet(cv::Rect(corner, picture.thumbnail.size())));
    const std::string text = "frame " + std::to_string(picture.frame);
    const cv::Point place = corner + cv::Point(8, height - 10);
    // A dark rim makes the letters readable on any ground.
    cv::putText(sheet, text, place, cv::FONT_HERSHEY_SIMPLEX, 0.5, cv::Scalar(0, 0, 0), 3, cv::LINE_AA);
    cv::putText(sheet, text, place, cv::FONT_HERSHEY_SIMPLEX, 0.5, cv::Scalar(255, 255, 255), 1,
                cv::LINE_AA);
  }
  return sheet;
}

}  // namespace tarnkit
