#pragma once

// Captures what a call throws, so tests can compare every text of an error.

#include "host/String.h"

namespace kest::testing {

// The five values of a caught TovaBaseException-derived error; caught is false
// when the call threw nothing.
struct Thrown {
  bool caught = false;
  TOVString type, where, who, message;
  int code = 0;
};

// Runs f and returns what it threw as an E (caught by reference, so who and
// type are kept); anything else propagates.
template <typename E, typename F>
Thrown thrownAs(F f) {
  Thrown thrown;
  try {
    f();
  } catch (const E& e) {
    thrown = Thrown{true, e.getType(), e.getWhere(), e.getWho(), e.getMessage(), e.getCode()};
  }
  return thrown;
}

}  // namespace kest::testing
