// Boxes, trails, labels and paths in OpenCV's sub-pixel drawing.
#include "apps/drawing/draw_tracks.h"

#include <algorithm>
#include <cstdio>
#include <opencv2/imgproc.hpp>

namespace tarnkit {
namespace {

// Sub-pixel drawing: OpenCV takes coordinates with this many fractional bits.
constexpr int kFractionBits = 4;

// Far beyond any frame, yet safe to scale: a filter may send a box anywhere.
constexpr float kDrawingBound = 30000.0f;

cv::Point onGrid(const cv::Point2f& point) {
  const auto scaled = [](float value) {
    // Written so that what is not a number ends at the bound too.
    const float bounded = value > -kDrawingBound ? std::min(value, kDrawingBound) : -kDrawingBound;
    return cvRound(bounded * static_cast<float>(1 << kFractionBits));
  };
  return cv::Point(scaled(point.x), scaled(point.y));
}

cv::Point onPixels(const cv::Point& grid) {
  return cv::Point(grid.x / (1 << kFractionBits), grid.y / (1 << kFractionBits));
}

// Lines and letters grow with the picture.
double pictureScale(const cv::Mat& picture) { return std::max(1.0, picture.rows / 720.0); }

void drawPath(cv::Mat& picture, const std::vector<cv::Point2f>& path, const cv::Scalar& colour,
              int thickness) {
  std::vector<cv::Point> points;
  for (const cv::Point2f& place : path) points.push_back(onGrid(place));
  cv::polylines(picture, points, false, colour, thickness, cv::LINE_AA, kFractionBits);
}

// Black on a patch of the identity's colour; `corner` is the patch's lower left one.
void drawLabel(cv::Mat& picture, const std::string& text, cv::Point corner, const cv::Scalar& colour) {
  const double size = 0.42 * pictureScale(picture);
  int below = 0;
  const cv::Size extent = cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, size, 1, &below);
  // Both corners of a rectangle belong to it.
  corner.x = std::max(0, std::min(corner.x, picture.cols - extent.width - 5));
  corner.y = std::max(extent.height + below + 2, std::min(corner.y, picture.rows - 1));
  cv::rectangle(picture, corner, corner + cv::Point(extent.width + 4, -extent.height - below - 2),
                colour, cv::FILLED);
  cv::putText(picture, text, corner + cv::Point(2, -below), cv::FONT_HERSHEY_SIMPLEX, size,
              cv::Scalar(0, 0, 0), 1, cv::LINE_AA);
}

}  // namespace

void drawTracks(cv::Mat& bgr, const std::vector<Tarn::TarnIdentifiedBox>& boxes,
                const LabelNames& label_name, const Trails& trails) {
  const int thickness = cvRound(2.0 * pictureScale(bgr));
  for (const Tarn::TarnIdentifiedBox& box : boxes)
    drawPath(bgr, trails.of(box.id), identityColour(box.id), thickness);
  const float width = static_cast<float>(bgr.cols), height = static_cast<float>(bgr.rows);
  for (const Tarn::TarnIdentifiedBox& box : boxes) {
    const cv::Scalar colour = identityColour(box.id);
    const cv::Point first = onGrid({box.x * width, box.y * height});
    const cv::Point last = onGrid({(box.x + box.w) * width, (box.y + box.h) * height});
    cv::rectangle(bgr, first, last, colour, thickness, cv::LINE_AA, kFractionBits);
    char score[32];
    std::snprintf(score, sizeof(score), " %.2f", static_cast<double>(box.score));
    drawLabel(bgr, std::to_string(box.id) + " " + label_name(box.label) + score, onPixels(first),
              colour);
  }
}

cv::Mat drawTrajectories(const cv::Mat& bgr, const Trajectories& trajectories, std::int64_t shortest) {
  cv::Mat picture;
  bgr.convertTo(picture, -1, 0.55, 25.0);
  const int thickness = cvRound(2.0 * pictureScale(picture));
  const auto shown = [shortest](const auto& path) { return path.second.frames >= shortest; };
  for (const auto& path : trajectories.all()) {
    if (!shown(path)) continue;
    drawPath(picture, path.second.points, identityColour(path.first), thickness);
    cv::circle(picture, onGrid(path.second.points.front()), (3 * thickness) << kFractionBits,
               identityColour(path.first), 1, cv::LINE_AA, kFractionBits);
  }
  for (const auto& path : trajectories.all()) {
    if (!shown(path)) continue;
    drawLabel(picture, std::to_string(path.first), onPixels(onGrid(path.second.points.back())),
              identityColour(path.first));
  }
  return picture;
}

}  // namespace tarnkit
