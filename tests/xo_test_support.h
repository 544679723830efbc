// Small helpers shared by the test programs.
#pragma once

#include <cstdlib>
#include <ctime>
#include <exception>
#include <string>

#include "uXoSysUtils.h"

namespace xo_test {

// The message of the exception of class E that AFunc raises; a marker text
// when it raises nothing or something else.
template <class E, class F>
std::u16string MessageOf(F&& AFunc) {
  try {
    AFunc();
  } catch (const E& e) {
    return e.Message();
  } catch (const std::exception& e) {
    return u"<other exception: " + xo::XoUTF8ToUTF16(e.what()) + u">";
  }
  return u"<no exception>";
}

// Sets TZ for the lifetime of the object and restores it afterwards.
class ScopedTZ {
public:
  explicit ScopedTZ(const char* AZone) {
    const char* old = std::getenv("TZ");
    FHad = old != nullptr;
    if (old) FOld = old;
    setenv("TZ", AZone, 1);
    tzset();
  }
  ~ScopedTZ() {
    if (FHad)
      setenv("TZ", FOld.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }
  ScopedTZ(const ScopedTZ&) = delete;
  ScopedTZ& operator=(const ScopedTZ&) = delete;

private:
  bool FHad = false;
  std::string FOld;
};

}  // namespace xo_test
