// Pictures to PNG files.
#ifndef TN_KITS_APPS_DRAWING_PNG_H_
#define TN_KITS_APPS_DRAWING_PNG_H_

#include <opencv2/core.hpp>
#include <string>

namespace tarnkit {

// Throws Failure.
void writePng(const std::string& path, const cv::Mat& bgr);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DRAWING_PNG_H_
