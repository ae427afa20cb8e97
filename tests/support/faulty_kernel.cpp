#include "support/faulty_kernel.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>

#include "kernel/metalayer.h"
#include "kernel/vela.h"

#define QD_FAULTY_API __attribute__((visibility("default")))

namespace faulty_kernel {
namespace {

struct state {
  bool armed = false;
  std::size_t failing_call = 0;  // 0 is none.
  unsigned int status = 0;
  std::vector<call> calls;
  std::map<unsigned long, bool> open;  // Iterators; whether they are on a catalogue index.

  std::unique_ptr<unsigned char[]> lent;
  std::size_t lent_size = 0;
  std::unique_ptr<unsigned char[]> spoiled;  // Kept, so that a late reader sees the spoiled bytes.
};

state& current() {
  static state the_state;
  return the_state;
}

// The libraries of the kernel by their load address: their calls to themselves are not the
// library's.
bool is_of_kernel(void const* code) {
  static auto const load_address = [](auto* function) {
    Dl_info found{};
    if (dladdr(reinterpret_cast<void const*>(function), &found) == 0) std::abort();
    return found.dli_fbase;
  };
  static void const* const storage = [] {
    Dl_info found{};
    if (dladdr(dlsym(RTLD_NEXT, "vela_context_lookup"), &found) == 0) std::abort();
    return found.dli_fbase;
  }();
  static void const* const catalogue = load_address(&metalayer::Index::index_id_IndexPK);
  Dl_info caller{};
  return dladdr(code, &caller) != 0 &&
         (caller.dli_fbase == storage || caller.dli_fbase == catalogue);
}

// The kernel's own definition of a function.
template <auto Function>
auto* kernel_function(char const* name) {
  static auto* const found = reinterpret_cast<decltype(Function)>(dlsym(RTLD_NEXT, name));
  if (!found) std::abort();
  return found;
}

void spoil_what_was_lent() {
  state& now = current();
  if (now.lent) std::memset(now.lent.get(), 0xDB, now.lent_size);
  now.spoiled = std::move(now.lent);
}

// A copy of `size` bytes that lives until the call after the next.
void* lend(void const* bytes, std::size_t size) {
  state& now = current();
  now.lent = std::make_unique<unsigned char[]>(size);
  now.lent_size = size;
  if (size != 0) std::memcpy(now.lent.get(), bytes, size);
  return now.lent.get();
}

void lend_in_place(VELA_VALUE* value) {
  value->data = static_cast<unsigned char const*>(lend(value->data, value->size));
}
void lend_in_place(VELA_BYTES const** bytes) {
  std::size_t const size = offsetof(VELA_BYTES, bytes) + (*bytes)->count;
  *bytes = static_cast<VELA_BYTES const*>(lend(*bytes, std::max(size, sizeof(VELA_BYTES))));
}
void lend_in_place(VELA_UCS2 const** text) {
  std::size_t const size = offsetof(VELA_UCS2, units) + ((*text)->count + 1UL) * sizeof(char16_t);
  *text = static_cast<VELA_UCS2 const*>(lend(*text, std::max(size, sizeof(VELA_UCS2))));
}
template <typename T>
void lend_in_place(T*) {}  // Everything else is handed over by value.

// Whether the call that is now made fails; notes it.
bool fails(char const* name, bool of_catalogue) {
  state& now = current();
  spoil_what_was_lent();
  now.calls.push_back({name + std::strlen("vela_"), of_catalogue});
  return now.calls.size() == now.failing_call;
}

bool is_on_catalogue(unsigned long iterator) {
  auto const found = current().open.find(iterator);
  return found != current().open.end() && found->second;
}

bool is_watched(void const* caller) {
  return current().armed && !is_of_kernel(caller);
}

// A call whose last argument is where the result goes.
template <auto Function, typename Result, typename... Argument>
unsigned int read(void const* caller, char const* name, Result* result, Argument... argument) {
  auto* const forward = kernel_function<Function>(name);
  if (!is_watched(caller)) return forward(argument..., result);
  if (fails(name, false)) {
    if constexpr (std::is_pointer_v<Result>) *result = nullptr;
    return current().status;
  }
  unsigned int const status = forward(argument..., result);
  if (status == 0) lend_in_place(result);
  return status;
}

}  // namespace

QD_FAULTY_API void arm() {
  arm(0, 0);
}

QD_FAULTY_API void arm(std::size_t number, unsigned int status) {
  state& now = current();
  now.failing_call = number;
  now.status = status;
  now.calls.clear();
  now.open.clear();
  now.armed = true;
}

QD_FAULTY_API std::vector<call> disarm() {
  spoil_what_was_lent();
  current().armed = false;
  return std::move(current().calls);
}

QD_FAULTY_API std::size_t open_iterators() {
  return current().open.size();
}

}  // namespace faulty_kernel

using namespace faulty_kernel;

// A function whose last parameter is an out parameter, by its name, parameters and arguments.
#define QD_FORWARD_READ(name, parameters, ...)                                  \
  extern "C" QD_FAULTY_API unsigned int name parameters {                       \
    return read<&name>(__builtin_return_address(0), #name, out, ##__VA_ARGS__); \
  }

#define QD_FORWARD_GETTER(name, Result)                                             \
  QD_FORWARD_READ(name,                                                             \
                  (unsigned long context, unsigned long oid, unsigned long address, \
                   unsigned int column, Result* out),                               \
                  context, oid, address, column)

QD_FORWARD_GETTER(vela_context_get_ulong, unsigned long)
QD_FORWARD_GETTER(vela_context_get_long, long)
QD_FORWARD_GETTER(vela_context_get_decimal, long)
QD_FORWARD_GETTER(vela_context_get_float, float)
QD_FORWARD_GETTER(vela_context_get_double, double)
QD_FORWARD_GETTER(vela_context_get_binary, VELA_VALUE)
QD_FORWARD_GETTER(vela_context_get_string, VELA_UCS2 const*)
QD_FORWARD_GETTER(vela_context_get_reference, VELA_RECORD)
QD_FORWARD_GETTER(vela_meta_get_bool, unsigned long)
QD_FORWARD_READ(vela_context_get_setspec,
                (unsigned long context, unsigned long oid, unsigned long address,
                 VELA_UCS2 const** out),
                context, oid, address)
QD_FORWARD_READ(vela_context_lookup, (unsigned long context, unsigned long oid, unsigned long* out),
                context, oid)
QD_FORWARD_READ(vela_context_convert_ucs2_to_densetext,
                (unsigned long context, char16_t const* text, bool infinite,
                 VELA_BYTES const** out),
                context, text, infinite)
QD_FORWARD_READ(vela_context_convert_ucs2_to_setspecdt,
                (unsigned long context, char16_t const* text, bool infinite,
                 VELA_BYTES const** out),
                context, text, infinite)
QD_FORWARD_READ(vela_context_convert_densetext_to_ucs2,
                (unsigned long context, unsigned char const* bytes, unsigned long count,
                 VELA_UCS2 const** out),
                context, bytes, count)
QD_FORWARD_READ(vela_context_convert_densetext_to_base_ucs2,
                (unsigned long context, unsigned char const* bytes, unsigned long count,
                 VELA_UCS2 const** out),
                context, bytes, count)

extern "C" {

QD_FAULTY_API unsigned int vela_context_create_iterator(unsigned long context,
                                                        unsigned long index_id, unsigned int flags,
                                                        unsigned char const* first,
                                                        unsigned char const* last,
                                                        unsigned long* iterator) {
  auto* const forward =
      kernel_function<&vela_context_create_iterator>("vela_context_create_iterator");
  bool const watched = is_watched(__builtin_return_address(0));
  bool const of_catalogue = (flags & 0x70) == VELA_ITERATE_CATALOGUE;
  if (watched && fails("vela_context_create_iterator", of_catalogue)) return current().status;
  unsigned int const status = forward(context, index_id, flags, first, last, iterator);
  if (watched && status == 0) current().open[*iterator] = of_catalogue;
  return status;
}

QD_FAULTY_API unsigned int vela_iterator_next(unsigned long iterator, VELA_RECORD* record) {
  auto* const forward = kernel_function<&vela_iterator_next>("vela_iterator_next");
  if (is_watched(__builtin_return_address(0)) &&
      fails("vela_iterator_next", is_on_catalogue(iterator))) {
    return current().status;
  }
  return forward(iterator, record);
}

QD_FAULTY_API unsigned int vela_iterator_free(unsigned long iterator) {
  auto* const forward = kernel_function<&vela_iterator_free>("vela_iterator_free");
  bool const fails_now = is_watched(__builtin_return_address(0)) &&
                         fails("vela_iterator_free", is_on_catalogue(iterator));
  // Forgotten also when no longer armed: an iterator may outlive the run that is watched.
  current().open.erase(iterator);
  unsigned int const status = forward(iterator);
  return fails_now ? current().status : status;
}

}  // extern "C"
