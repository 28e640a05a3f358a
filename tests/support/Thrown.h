#pragma once

// Captures what a call throws, so tests can compare every text of an error
// (and the text and code of a fatal assertion).

#include "host/Fatal.h"
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

// What a caught fatal assertion (CI_ExFatal) carried; caught is false when
// the call threw nothing.
struct Fatal {
  bool caught = false;
  TOVString text;
  int code = 0;
};

// Runs f and returns the CI_ExFatal it threw; anything else propagates.
template <typename F>
Fatal fatalOf(F f) {
  Fatal fatal;
  try {
    f();
  } catch (const CI_ExFatal& e) {
    fatal = Fatal{true, e.getText(), e.getCode()};
  }
  return fatal;
}

}  // namespace kest::testing
