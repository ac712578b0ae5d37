// OpenCV's pedestrian detector, on luma scaled so that the smallest person fits its window.
#include "apps/detectors/hog_detector.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

namespace tarnkit {
namespace {

// The detector's window is 64 x 128 pixels and was trained with margins around the person.
constexpr double kWindowHeight = 128.0;
constexpr double kPersonHeight = 96.0;
constexpr double kMarginX = 0.22, kMarginY = (kWindowHeight - kPersonHeight) / 2.0 / kWindowHeight;

// Windows of neighbouring places and sizes fire together; this much of the smaller one in common
// makes two the same person. People who walk side by side share less.
constexpr float kSamePerson = 0.55f;

float sharedPart(const Tarn::TarnBoundingBox2D& a, const Tarn::TarnBoundingBox2D& b) {
  const float width = std::min(a.x + a.w, b.x + b.w) - std::max(a.x, b.x);
  const float height = std::min(a.y + a.h, b.y + b.h) - std::max(a.y, b.y);
  if (width <= 0.0f || height <= 0.0f) return 0.0f;
  return width * height / std::min(a.w * a.h, b.w * b.h);
}

}  // namespace

std::vector<Tarn::TarnBoundingBox2D> keepBest(std::vector<Tarn::TarnBoundingBox2D> boxes,
                                              float overlap) {
  std::stable_sort(boxes.begin(), boxes.end(),
                   [](const auto& a, const auto& b) { return a.score > b.score; });
  std::vector<Tarn::TarnBoundingBox2D> kept;
  for (const Tarn::TarnBoundingBox2D& box : boxes)
    if (std::none_of(kept.begin(), kept.end(),
                     [&](const auto& better) { return sharedPart(box, better) > overlap; }))
      kept.push_back(box);
  return kept;
}

HogDetector::HogDetector(const HogOptions& options) : options_(options) {
  hog_.setSVMDetector(cv::HOGDescriptor::getDefaultPeopleDetector());
}

std::vector<Tarn::TarnBoundingBox2D> HogDetector::detect(const DetectorInput& input) {
  const _TN_Image& frame = input.frame;
  // Gradients of luma do as well here as those of three colours, at a third of the work.
  const cv::Mat luma(frame.height, frame.width, CV_8UC1, frame.data);
  const double enlarge = kPersonHeight / options_.smallest_person;
  cv::Mat picture;
  cv::resize(luma, picture, cv::Size(), enlarge, enlarge, cv::INTER_LINEAR);
  if (picture.cols < hog_.winSize.width || picture.rows < hog_.winSize.height) return {};

  std::vector<cv::Rect> windows;
  std::vector<double> scores;
  // A group threshold of 0 gives every window; keepBest knows the scores, OpenCV's grouping does not.
  hog_.detectMultiScale(picture, windows, scores, options_.threshold, cv::Size(8, 8), cv::Size(16, 16),
                        1.05, 0.0);
  std::vector<Tarn::TarnBoundingBox2D> boxes;
  for (std::size_t i = 0; i < windows.size(); ++i) {
    const cv::Rect& window = windows[i];
    const double left = window.x + kMarginX * window.width,
                 width = (1.0 - 2.0 * kMarginX) * window.width;
    const double top = window.y + kMarginY * window.height,
                 height = (1.0 - 2.0 * kMarginY) * window.height;
    boxes.push_back({static_cast<float>(left / picture.cols), static_cast<float>(top / picture.rows),
                     static_cast<float>(width / picture.cols), static_cast<float>(height / picture.rows),
                     static_cast<float>(scores[i]), 0});
  }
  return keepBest(std::move(boxes), kSamePerson);
}

}  // namespace tarnkit
