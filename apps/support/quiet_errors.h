// Keeps libraries that write to standard error themselves from doing so.
#ifndef TN_KITS_APPS_SUPPORT_QUIET_ERRORS_H_
#define TN_KITS_APPS_SUPPORT_QUIET_ERRORS_H_

namespace tarnkit {

// While it lives, nothing that the process writes to standard error appears. The picture decoders have
// no other switch. If the system refuses, messages appear as before.
class QuietErrors {
 public:
  QuietErrors();
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;
  ~QuietErrors();

 private:
  int saved_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_QUIET_ERRORS_H_
