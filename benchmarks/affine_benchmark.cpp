// The four affine warps beside OpenCV's on one thread, on three channels of floats. Ours are planes, the
// peer's are interleaved pixels, and the peer rounds positions to 1/32 of a pixel. The matrix is that of
// a face alignment: a turn, a scale and a shift that leave a few corners outside. The memcpy contestant
// copies the bytes that the job must read once and write once: the limit.

#include <cmath>
#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "benchmarks/benchmark_main.h"
#include "tn_cv.h"

namespace {

using TarnCPU::Mat;

struct Matrix {
  float m[6];
};

Matrix alignment() {
  constexpr double kAngle = 0.2, kScale = 0.9;
  const float c = static_cast<float>(kScale * std::cos(kAngle));
  const float s = static_cast<float>(kScale * std::sin(kAngle));
  return {{c, -s, 0.05f, s, c, -0.03f}};
}

// From destination to source pixels, both of n x n, whose centres are at whole numbers.
cv::Mat inPixels(const Matrix& matrix, int n) {
  const float* const m = matrix.m;
  const double half = n / 2.0, middle = half - 0.5;
  return (cv::Mat_<double>(2, 3) << m[0], m[1], half * m[2] + middle - middle * (m[0] + m[1]), m[3],
          m[4], half * m[5] + middle - middle * (m[3] + m[4]));
}

// Buffers of one size, which all its rows share.
struct Job {
  Mat src, dst;
  cv::Mat packed_src, packed_dst, pixels;
  Matrix matrix = alignment();
};

std::shared_ptr<Job> makeJob(int n) {
  auto job = std::make_shared<Job>();
  job->src = Mat(n, n, 3);
  job->dst = Mat(n, n, 3);
  job->packed_src = cv::Mat(n, n, CV_32FC3);
  job->packed_dst = cv::Mat(n, n, CV_32FC3);
  job->pixels = inPixels(job->matrix, n);
  cv::RNG random(7);
  random.fill(job->packed_src, cv::RNG::UNIFORM, 0.0f, 255.0f);
  std::vector<cv::Mat> planes;
  for (int q = 0; q < 3; ++q) {
    const Mat plane = job->src.channel(q);
    planes.emplace_back(n, n, CV_32FC1, plane.data);
  }
  cv::split(job->packed_src, planes);
  std::memset(job->dst.data, 0, Tarn::tensorExtent(n, n, 3).bytes);
  job->packed_dst.setTo(0);
  return job;
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);
  static const struct {
    const char* name;
    void (*warp)(Mat, Mat, const float*);
    int border;
  } warps[] = {
      {"affine", affine, cv::BORDER_CONSTANT},
      {"affine_optimized", affine_optimized, cv::BORDER_CONSTANT},
      {"affine_sse", affine_sse, cv::BORDER_REPLICATE},
      {"affine_sse_hwc", affine_sse_hwc, cv::BORDER_REPLICATE},
  };
  for (const int n : {112, 224, 512}) {
    const std::shared_ptr<Job> job = makeJob(n);
    for (const auto& w : warps) {
      const std::string row = std::string(w.name) + " " + sizeName(n, n);
      addRow(row, "tn_kits", [job, warp = w.warp] { warp(job->src, job->dst, job->matrix.m); });
      addRow(row, "opencv", [job, border = w.border] {
        cv::warpAffine(job->packed_src, job->packed_dst, job->pixels, job->packed_dst.size(),
                       cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, border);
      });
      addRow(row, "memcpy", [job, bytes = Tarn::tensorExtent(n, n, 3).bytes] {
        std::memcpy(job->dst.data, job->src.data, bytes);
      });
    }
  }
}
