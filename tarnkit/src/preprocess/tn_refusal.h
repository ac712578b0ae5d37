// How the fields of what callers give are refused: std::invalid_argument, the field's name first.
#ifndef TN_KITS_PREPROCESS_TN_REFUSAL_H_
#define TN_KITS_PREPROCESS_TN_REFUSAL_H_

#include <stdexcept>
#include <string>

namespace Tarn::preprocess {

[[noreturn]] inline void refuse(const std::string& field, const std::string& why) {
  throw std::invalid_argument(field + ": " + why);
}

inline void checkRange(const std::string& field, int value, int low, int high) {
  if (value < low || value > high)
    refuse(field, std::to_string(value) + " is not from " + std::to_string(low) + " to " +
                      std::to_string(high));
}

template <class Enumerator>
void checkEnumerator(const char* field, Enumerator value, Enumerator last) {
  if (static_cast<int>(value) < 0 || static_cast<int>(value) > static_cast<int>(last))
    refuse(field, "no value has the number " + std::to_string(static_cast<int>(value)));
}

// Name of an array's element.
inline std::string elementName(const char* field, int index) {
  return field + ("[" + std::to_string(index) + "]");
}

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_REFUSAL_H_
