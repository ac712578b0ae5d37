// The libraries' log lines as faults of ours.
#ifndef TN_KITS_APPS_SUPPORT_CAPTURED_LOG_H_
#define TN_KITS_APPS_SUPPORT_CAPTURED_LOG_H_

#include <string>
#include <vector>

namespace tarnkit {

// While it lives, lines that the libraries log as errors are kept instead of written. One at a time.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();

  // The last line kept: why what was asked for could not be done; or `otherwise` if there is none.
  std::string reason(const std::string& otherwise = "unknown fault") const;
  // Writes all lines to standard error as the tool's own: what they report was not fatal.
  void pass() const;

 private:
  std::vector<std::string> lines_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_CAPTURED_LOG_H_
