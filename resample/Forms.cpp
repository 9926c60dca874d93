#include "resample/Forms.h"

#include <atomic>

#if CMM_X86_FORMS
#include <cpuid.h>
#endif

namespace resample {

namespace {

bool Always() {
  return true;
}

#if CMM_X86_FORMS
/// The processor has AVX2, and the system keeps the wide registers across a switch of threads. The compiler's
/// own query would bring an initialiser into the library.
bool HasAvx2() {
  constexpr unsigned kWideState = 6;
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0 || (c & bit_AVX) == 0) return false;
  unsigned low = 0;
  unsigned high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  if ((low & kWideState) != kWideState) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_AVX2) != 0;
}
#endif

}  // namespace

const Form kPortableForm = {"portable",
                            Always,
                            {MapPortable<std::int16_t, 1>, MapPortable<std::int16_t, 2>},
                            {MapPortable<std::uint8_t, 1>, MapPortable<std::uint8_t, 2>,
                             MapPortable<std::uint8_t, 3>, MapPortable<std::uint8_t, 4>}};

#if CMM_X86_FORMS
// Three and four channels of 8 bits are rare enough for the plain map.
const Form kSse2Form = {"sse2",
                        Always,
                        {MapSse2<std::int16_t, 1>, MapSse2<std::int16_t, 2>},
                        {MapSse2<std::uint8_t, 1>, MapSse2<std::uint8_t, 2>, MapPortable<std::uint8_t, 3>,
                         MapPortable<std::uint8_t, 4>}};
const Form kAvx2Form = {"avx2",
                        HasAvx2,
                        {MapAvx2<std::int16_t, 1>, MapAvx2<std::int16_t, 2>},
                        {MapAvx2<std::uint8_t, 1>, MapAvx2<std::uint8_t, 2>, MapPortable<std::uint8_t, 3>,
                         MapPortable<std::uint8_t, 4>}};
#endif

const Form& BestForm() {
#if CMM_X86_FORMS
  // Threads that meet here find the same answer.
  static constinit std::atomic<const Form*> best{nullptr};
  const Form* form = best.load(std::memory_order_acquire);
  if (form == nullptr) {
    form = kAvx2Form.supported() ? &kAvx2Form : &kSse2Form;
    best.store(form, std::memory_order_release);
  }
  return *form;
#else
  return kPortableForm;
#endif
}

}  // namespace resample
