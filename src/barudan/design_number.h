// Design numbers as the Barudan discs write them: two decimal digits, "01" to "99".
#pragma once

#include <string>

namespace tavlin {

inline std::string TwoDigits(int number) {
  return {static_cast<char>('0' + number / 10 % 10), static_cast<char>('0' + number % 10)};
}

}  // namespace tavlin
