// Process-wide settings of OpenCV, changed for one call and then put back.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_OPENCV_SETTINGS_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_OPENCV_SETTINGS_H_

#include <mutex>
#include <shared_mutex>

namespace TarnCPU {

// While any object of this class lives, OpenCV prints nothing. Its faults arrive as exceptions, which we
// log ourselves.
class QuietOpenCv {
 public:
  QuietOpenCv();
  QuietOpenCv(const QuietOpenCv&) = delete;
  QuietOpenCv& operator=(const QuietOpenCv&) = delete;
  ~QuietOpenCv();
};

// Sets OpenCV's number of threads for one run; 0 leaves it unchanged. The number decides how layers are
// split among threads and so can change last bits. Therefore a run with a number of its own runs alone,
// and runs without one share the lock.
class OpenCvThreads {
 public:
  // Numbers above the machine's processors count as that many.
  explicit OpenCvThreads(int threads);
  OpenCvThreads(const OpenCvThreads&) = delete;
  OpenCvThreads& operator=(const OpenCvThreads&) = delete;
  ~OpenCvThreads();

 private:
  std::shared_lock<std::shared_mutex> shared_;
  std::unique_lock<std::shared_mutex> exclusive_;
  int before_ = 0;
};

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_OPENCV_SETTINGS_H_
