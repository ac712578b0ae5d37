// The system's words for its errors.
#include "apps/support/failure.h"

#include <system_error>

namespace tarnkit {

std::string errnoText(int error) {
  return error == 0 ? "input/output error" : std::generic_category().message(error);
}

}  // namespace tarnkit
