// Lines of the event log.

#include <array>

#include "fuzz/line.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  constexpr std::array<unsigned, 11> codes{0,       0x20001, 0x20004, 0x20008, 0x2000e,   0x20010,
                                           0x20011, 0x20012, 0x40000, 1,       0xffffffff};
  const std::size_t code = input.choice(codes.size() + 1);
  std::array<std::string, 18> texts;
  for (std::string& text : texts) text = input.text();
  IPhpHelp::MQ_HttpInfo info;
  for (std::size_t i = 4; i < texts.size(); ++i) (&info.server_name)[i - 4] = texts[i].c_str();
  if (input.flag()) info.cookie = nullptr;
  vorgate::agent::Event event{std::nullopt,
                              texts[0].c_str(),
                              texts[1].c_str(),
                              texts[2].c_str(),
                              texts[3].c_str(),
                              input.flag(),
                              &info};
  if (code < codes.size()) event.code = codes[code];
  if (input.flag()) event.info = nullptr;
  fuzz::check_line(event);
  return 0;
}
