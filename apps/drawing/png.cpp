#include "apps/drawing/png.h"

#include <opencv2/imgcodecs.hpp>
#include <vector>

#include "apps/output/output_file.h"
#include "apps/support/failure.h"

namespace tarnkit {

void writePng(const std::string& path, const cv::Mat& bgr) {
  std::vector<unsigned char> bytes;
  if (!cv::imencode(".png", bgr, bytes)) throw Failure(path, "the picture cannot be coded as PNG");
  writeFile(path, {}, bytes.data(), bytes.size());
}

}  // namespace tarnkit
