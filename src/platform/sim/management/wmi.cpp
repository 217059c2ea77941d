// The sim's WMI: COM objects over the management model, and a WQL reader for the forms the program
// uses: SELECT * | p[, q...] FROM class [WHERE property = value], the value quoted or bare.
#include "platform/wmi.h"

#include <cctype>
#include <cmath>
#include <cstdio>

#include "platform/sim/management/management.h"

struct platform::WbemLocator {};

struct platform::WbemServices {
  sim::ManagementNamespace Namespace;
};

struct platform::WbemEnumerator {
  std::vector<sim::ManagementObject> Rows;
  size_t Next = 0;
};

struct platform::WbemObject {
  sim::ManagementObject Data;
};

namespace platform {

namespace {

constexpr HResult CoENotInitialized = static_cast<HResult>(0x800401F0u);
constexpr HResult EPointer = static_cast<HResult>(0x80004003u);

thread_local int comInitialized = 0;

std::string Upper(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

std::wstring Utf8ToUtf16(const std::string& text) {
  std::wstring out;
  for (size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    uint32_t code = c;
    size_t extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (i + extra >= text.size()) extra = 0;  // a cut sequence: the byte stands for itself
    if (extra) {
      code = c & (0x3Fu >> extra);
      for (size_t k = 1; k <= extra; ++k) code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
    }
    i += extra + 1;
    if (code >= 0x10000) {
      code -= 0x10000;
      out += static_cast<wchar_t>(0xD800 + (code >> 10));
      out += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
    } else {
      out += static_cast<wchar_t>(code);
    }
  }
  return out;
}

// Model text is ASCII for names; a query is narrowed unit by unit.
std::string Narrow(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) out += c < 0x80 ? static_cast<char>(c) : '?';
  return out;
}

// WQL, one token at a time: words, quoted strings, "*", ",", "=".
struct Query {
  std::vector<std::string> Properties;  // empty for "*"
  std::string Class;
  std::string WhereProperty;
  std::string WhereValue;
};

bool ReadQuery(const std::string& text, Query& query) {
  std::vector<std::string> tokens;
  std::vector<bool> quoted;
  for (size_t i = 0; i < text.size();) {
    const char c = text[i];
    if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
    } else if (c == '*' || c == ',' || c == '=') {
      tokens.emplace_back(1, c);
      quoted.push_back(false);
      ++i;
    } else if (c == '\'' || c == '"') {
      const size_t close = text.find(c, i + 1);
      if (close == std::string::npos) return false;
      tokens.push_back(text.substr(i + 1, close - i - 1));
      quoted.push_back(true);
      i = close + 1;
    } else {
      size_t end = i;
      while (end < text.size() && !std::isspace(static_cast<unsigned char>(text[end])) && text[end] != ',' &&
             text[end] != '=' && text[end] != '\'' && text[end] != '"')
        ++end;
      tokens.push_back(text.substr(i, end - i));
      quoted.push_back(false);
      i = end;
    }
  }
  size_t at = 0;
  auto word = [&](const char* expected) {
    return at < tokens.size() && !quoted[at] && Upper(tokens[at]) == expected;
  };
  if (!word("SELECT")) return false;
  ++at;
  if (at < tokens.size() && tokens[at] == "*" && !quoted[at]) {
    ++at;
  } else {
    for (;;) {
      if (at >= tokens.size() || quoted[at] || tokens[at] == "," || word("FROM")) return false;
      query.Properties.push_back(tokens[at++]);
      if (at < tokens.size() && tokens[at] == ",") {
        ++at;
        continue;
      }
      break;
    }
  }
  if (!word("FROM")) return false;
  ++at;
  if (at >= tokens.size() || quoted[at]) return false;
  query.Class = tokens[at++];
  if (at == tokens.size()) return true;
  if (!word("WHERE") || at + 4 != tokens.size() || quoted[at + 1] || tokens[at + 2] != "=") return false;
  query.WhereProperty = tokens[at + 1];
  query.WhereValue = tokens[at + 3];
  return true;
}

const sim::ManagementProperty* FindProperty(const sim::ManagementObject& object, const std::string& name) {
  for (const auto& property : object.Properties)
    if (Upper(property.Name) == Upper(name)) return &property;
  return nullptr;
}

bool Matches(const sim::ManagementValue& value, const std::string& wanted) {
  if (value.Null) return false;
  if (!value.Texts.empty()) return Upper(value.Texts.front()) == Upper(wanted);
  if (value.Numbers.empty()) return false;
  char* end = nullptr;
  const double number = std::strtod(wanted.c_str(), &end);
  if (Upper(wanted) == "TRUE") return value.Numbers.front() != 0;
  if (Upper(wanted) == "FALSE") return value.Numbers.front() == 0;
  return !wanted.empty() && *end == '\0' && number == value.Numbers.front();
}

// The VARIANT WMI hands out for a CIM type: small unsigned types widen, 64-bit ones come as text.
uint16_t VariantTypeOf(int32_t cimType) {
  switch (cimType & ~CimFlagArray) {
    case CimSint8: case CimSint16: case CimChar16: return VtI2;
    case CimUint8: return VtUi1;
    case CimUint16: case CimSint32: case CimUint32: return VtI4;
    case CimReal32: return VtR4;
    case CimReal64: return VtR8;
    case CimBoolean: return VtBool;
    case CimSint64: case CimUint64: case CimString: case CimDatetime: case CimReference: return VtBstr;
    default: return VtEmpty;
  }
}

Variant ToVariant(const sim::ManagementValue& value) {
  Variant variant;
  if (value.Null) {
    variant.Type = VtNull;
    return variant;
  }
  const uint16_t element = VariantTypeOf(value.CimType);
  variant.Type = static_cast<uint16_t>(element | ((value.CimType & CimFlagArray) ? VtArray : 0));
  if (element == VtBstr) {
    for (const auto& text : value.Texts) variant.Texts.push_back(Utf8ToUtf16(text));
    for (double number : value.Numbers) {
      char text[32];
      std::snprintf(text, sizeof text, "%.0f", number);
      variant.Texts.push_back(Utf8ToUtf16(text));
    }
  } else if (element == VtR4 || element == VtR8) {
    variant.Reals = value.Numbers;
  } else if (element == VtBool) {
    for (double number : value.Numbers) variant.Integers.push_back(number != 0 ? -1 : 0);
  } else {
    for (double number : value.Numbers) variant.Integers.push_back(static_cast<int64_t>(std::llround(number)));
  }
  return variant;
}

}  // namespace

HResult CoInitializeEx(uint32_t /*concurrency*/) {
  const HResult result = sim::CurrentManagement().InitializeResult;
  if (result < 0) return result;
  return comInitialized++ == 0 ? SOk : SFalse;
}

void CoUninitialize() {
  if (comInitialized > 0) --comInitialized;
}

HResult CreateWbemLocator(WbemLocator** locator) {
  if (!locator) return EPointer;
  *locator = nullptr;
  if (comInitialized == 0) return CoENotInitialized;
  const HResult result = sim::CurrentManagement().LocatorResult;
  if (result < 0) return result;
  *locator = new WbemLocator();
  return SOk;
}

HResult ConnectServer(WbemLocator* locator, const std::wstring& nameSpace, WbemServices** services) {
  if (!locator || !services) return EPointer;
  *services = nullptr;
  const sim::ManagementModel& model = sim::CurrentManagement();
  if (model.ConnectResult < 0) return model.ConnectResult;
  const std::string name = Upper(Narrow(nameSpace));
  for (const auto& candidate : model.Namespaces) {
    if (Upper(candidate.Name) == name) {
      *services = new WbemServices{candidate};
      return SOk;
    }
  }
  return WbemInvalidNamespace;
}

HResult SetProxyBlanket(WbemServices* services, uint32_t, uint32_t, uint32_t, uint32_t) {
  if (!services) return EPointer;
  return sim::CurrentManagement().BlanketResult;
}

HResult ExecQuery(WbemServices* services, const std::wstring& language, const std::wstring& query, int32_t /*flags*/,
                  WbemEnumerator** enumerator) {
  if (!services || !enumerator) return EPointer;
  *enumerator = nullptr;
  if (Upper(Narrow(language)) != "WQL") return WbemInvalidQueryType;
  Query parsed;
  if (!ReadQuery(Narrow(query), parsed)) return WbemInvalidQuery;
  const sim::ManagementClass* found = nullptr;
  for (const auto& candidate : services->Namespace.Classes)
    if (Upper(candidate.Name) == Upper(parsed.Class)) found = &candidate;
  if (!found) return WbemInvalidClass;

  auto* result = new WbemEnumerator();
  for (const auto& instance : found->Instances) {
    for (const auto& name : parsed.Properties) {
      if (!FindProperty(instance, name)) {
        delete result;
        return WbemInvalidQuery;
      }
    }
    if (!parsed.WhereProperty.empty()) {
      const sim::ManagementProperty* property = FindProperty(instance, parsed.WhereProperty);
      if (!property) {
        delete result;
        return WbemInvalidQuery;
      }
      if (!Matches(property->Value, parsed.WhereValue)) continue;
    }
    if (parsed.Properties.empty()) {
      result->Rows.push_back(instance);
    } else {
      sim::ManagementObject projected;
      for (const auto& name : parsed.Properties) projected.Properties.push_back(*FindProperty(instance, name));
      result->Rows.push_back(projected);
    }
  }
  *enumerator = result;
  return SOk;
}

HResult Next(WbemEnumerator* enumerator, int32_t /*timeout*/, WbemObject** object, uint32_t* returned) {
  if (!enumerator || !object || !returned) return EPointer;
  *object = nullptr;
  *returned = 0;
  if (enumerator->Next >= enumerator->Rows.size()) return SFalse;
  *object = new WbemObject{enumerator->Rows[enumerator->Next++]};
  *returned = 1;
  return SOk;
}

HResult Get(WbemObject* object, const std::wstring& name, Variant& value, int32_t* cimType) {
  if (!object) return EPointer;
  const sim::ManagementProperty* property = FindProperty(object->Data, Narrow(name));
  if (!property) return WbemNotFound;
  value = ToVariant(property->Value);
  if (cimType) *cimType = property->Value.CimType;
  return SOk;
}

HResult GetNames(WbemObject* object, int32_t /*flags*/, std::vector<std::wstring>& names) {
  if (!object) return EPointer;
  names.clear();
  for (const auto& property : object->Data.Properties) names.push_back(Utf8ToUtf16(property.Name));
  return SOk;
}

void Release(WbemLocator* locator) { delete locator; }
void Release(WbemServices* services) { delete services; }
void Release(WbemEnumerator* enumerator) { delete enumerator; }
void Release(WbemObject* object) { delete object; }

std::string WideCharToMultiByte(uint32_t codePage, const std::wstring& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t code = static_cast<uint32_t>(text[i]) & 0xFFFF;
    if (codePage != 65001) {
      out += code < 0x100 ? static_cast<char>(code) : '?';
      continue;
    }
    if (code >= 0xD800 && code < 0xDC00 && i + 1 < text.size()) {
      const uint32_t low = static_cast<uint32_t>(text[i + 1]) & 0xFFFF;
      if (low >= 0xDC00 && low < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    if (code >= 0xD800 && code < 0xE000) code = 0xFFFD;  // a lone surrogate
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += static_cast<char>(0xC0 | code >> 6);
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      out += static_cast<char>(0xE0 | code >> 12);
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | code >> 18);
      out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return out;
}

}  // namespace platform
