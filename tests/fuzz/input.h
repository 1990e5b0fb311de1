#ifndef VORGATE_TESTS_FUZZ_INPUT_H
#define VORGATE_TESTS_FUZZ_INPUT_H

// What the fuzzing targets share: how an input turns into texts and PHP values, and
// requests that live no longer than an input.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "engine/common_util.h"
#include "host/host.h"
#include "vorgate/php_help.h"

// Ends the program, which is a finding, where something does not hold.
#define HOLDS(condition)                                                                      \
  ((condition)                                                                                \
       ? void()                                                                               \
       : (std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition), \
          std::abort()))

namespace fuzz {

using host::json;

// Texts are taken from the front of the input, each up to a backslash that another
// byte follows (two stand for one); choices from its back, a byte each. An input that
// is used up gives empty texts and first choices. seeds.php writes in this form.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : bytes_(data, size) {}

  // Below `count`, which is at most 256.
  std::size_t choice(std::size_t count) {
    return bytes_.ConsumeIntegralInRange<unsigned>(0, static_cast<unsigned>(count - 1));
  }
  bool flag() { return choice(2) == 1; }

  // A new text or, so that a request and a call can hold the same, an earlier one, a
  // part of one, or two in a row.
  std::string text() {
    const std::size_t kind = texts_.empty() ? 0 : choice(4);
    if (kind == 0) return texts_.emplace_back(bytes_.ConsumeRandomLengthString());
    const std::string& text = texts_[choice(std::min<std::size_t>(texts_.size(), 256))];
    if (kind == 2) return text.substr(std::min(choice(8), text.size()), choice(256));
    return kind == 3 ? text + texts_.back() : text;
  }

  // As host.h writes PHP values.
  json value(int depth = 2) {
    switch (choice(depth > 0 ? 9 : 8)) {
      case 1:
        return bytes_.ConsumeIntegral<int64_t>();
      case 2:
        return {{"$", "object"}};
      case 3:
        return {{"$", "resource"}};
      case 4:
        return {{"$", "undef"}};
      case 5:
        return nullptr;
      case 6:
        return flag();
      case 7:
        return bytes_.ConsumeFloatingPoint<double>();
      case 8:
        return entries(depth - 1);
      default:
        return text();
    }
  }

  json entries(int depth = 2) {
    json array = json::object();
    for (std::size_t count = choice(8); count > 0; --count) {
      const std::string name = text();
      array[name == "$" ? "" : name] = value(depth);
    }
    return array;
  }

 private:
  FuzzedDataProvider bytes_;
  std::vector<std::string> texts_;
};

// Serves a request that `agent` watches, on a thread of its own: what the host makes
// goes with it.
template <typename Serve>
void request(IPhpHelp* agent, Serve serve) {
  CCommonUtil& engine = *CCommonUtil::get_instance();
  std::thread([&] {
    host::reset();
    engine.init();  // fills the tables
    engine.php_help = agent;
    zend_api::note_request_start();
    serve(engine);
    HOLDS(host::state.backtraces == 0);
  }).join();
}

}  // namespace fuzz

#endif  // VORGATE_TESTS_FUZZ_INPUT_H
