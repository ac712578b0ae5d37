// Faults that the user can act upon. Commands throw them; the program reports each as one line.
#ifndef TN_KITS_APPS_SUPPORT_FAILURE_H_
#define TN_KITS_APPS_SUPPORT_FAILURE_H_

#include <cstdint>
#include <stdexcept>
#include <string>

#include "common/tn_one_line.h"

namespace tarnkit {

using Tarn::onOneLine;

class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& fault) : std::runtime_error(fault) {}
  // "where: fault"; where is a file or an option.
  Failure(const std::string& where, const std::string& fault) : Failure(where + ": " + fault) {}
  // "file:line: fault", the form that editors jump to.
  Failure(const std::string& file, std::int64_t line, const std::string& fault)
      : Failure(file + ":" + std::to_string(line), fault) {}
};

// What the system says about an errno value, "No such file or directory" for instance.
std::string errnoText(int error);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_FAILURE_H_
