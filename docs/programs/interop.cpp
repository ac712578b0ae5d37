// OpenCV's matrices in and out without copies: a part of a picture into a network's input.
#include <tn_cv.h>
#include <tn_interop_opencv.h>

#include <cstdio>
#include <opencv2/core.hpp>
#include <vector>

int main() {
  cv::Mat picture(32, 48, CV_8UC3, cv::Scalar(10, 20, 30));  // B, G, R
  cv::Mat part = picture(cv::Rect(8, 8, 16, 16));
  part.setTo(cv::Scalar(40, 50, 60));

  try {
    Tarn::interop::asImage(part, TN_PIX_FMT_BGR);
  } catch (const std::invalid_argument& error) {
    std::printf("refused: %s\n", error.what());
  }

  const cv::Mat packed = Tarn::interop::packMat(part);
  const _TN_Image image = Tarn::interop::asImage(packed, TN_PIX_FMT_BGR);
  std::vector<unsigned char> work_a(8 * 8 * 4), work_b(8 * 8 * 3);
  TarnCPU::Mat tensor;
  TarnCPU::TN_CV::getInMat(&image, tensor, 0, 8, 8, work_a.data(), work_b.data());

  const cv::Mat view = Tarn::interop::asMat(tensor);
  std::printf("%d dimensions: %d x %d x %d\n", view.dims, view.size[0], view.size[1], view.size[2]);
  for (int plane = 0; plane < 3; ++plane)
    std::printf("plane %d: %.0f\n", plane, static_cast<double>(view.at<float>(plane, 4, 4)));
}
