// Changes process-wide settings of OpenCV and restores them.
#include "platform/tn_cnn/src/engine/tn_opencv_settings.h"

#include <algorithm>
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

namespace TarnCPU {
namespace {

// Calls overlap: the first one changes the settings, and the last one restores them.
struct Silence {
  std::mutex mutex;
  int users = 0;
  cv::utils::logging::LogLevel level = cv::utils::logging::LOG_LEVEL_INFO;
  cv::ErrorCallback callback = nullptr;
  void* user_data = nullptr;
};

Silence& silence() {
  static Silence the_silence;
  return the_silence;
}

int sayNothing(int, const char*, const char*, const char*, int, void*) { return 0; }

std::shared_mutex& threadsMutex() {
  static std::shared_mutex mutex;
  return mutex;
}

}  // namespace

QuietOpenCv::QuietOpenCv() {
  Silence& state = silence();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (state.users++ != 0) return;
  state.level = cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  state.callback = cv::redirectError(sayNothing, nullptr, &state.user_data);
}

QuietOpenCv::~QuietOpenCv() {
  Silence& state = silence();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (--state.users != 0) return;
  cv::utils::logging::setLogLevel(state.level);
  cv::redirectError(state.callback, state.user_data);
}

OpenCvThreads::OpenCvThreads(int threads) {
  if (threads == 0) {
    shared_ = std::shared_lock<std::shared_mutex>(threadsMutex());
    return;
  }
  exclusive_ = std::unique_lock<std::shared_mutex>(threadsMutex());
  before_ = cv::getNumThreads();
  const int possible = std::min(threads, std::max(1, cv::getNumberOfCPUs()));
  if (before_ != possible) cv::setNumThreads(possible);
}

OpenCvThreads::~OpenCvThreads() {
  if (exclusive_.owns_lock() && cv::getNumThreads() != before_) cv::setNumThreads(before_);
}

}  // namespace TarnCPU
