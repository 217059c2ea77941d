// Catalogue values are editable text: formatting any value with any insert must stay in bounds
// and within the message limit.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "framework/MessageCatalog.h"
#include "text/TextHelpers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t split = input.find('\0');
  const std::string value = input.substr(0, split);
  const std::string insert = split == std::string::npos ? std::string() : input.substr(split + 1);
  if (FormatCatalogueValue(value, insert).size() > 1023) std::abort();
  if (FormatCatalogueValue(Widen(value), Widen(insert)).size() > 1023) std::abort();
  StripTranslationMarker(value);
  StripTranslationMarker(Widen(value));
  return 0;
}
