#include "hardware/WMIDiscovery.h"

#include <cstdlib>
#include <memory>

#include "text/TextHelpers.h"

namespace {

constexpr uint32_t kUtf8 = 65001;

std::string Failure(const std::string& text, platform::HResult code) {
  return "WMIDiscovery Error: " + text + ToHexText(static_cast<uint32_t>(code)) + "\n";
}

const char* TypeWord(int32_t cimType) {
  switch (cimType & ~platform::CimFlagArray) {
    case 2: case 3: case 4: case 5: case 16: case 17: case 18: case 19: case 20: case 21: return "integer";
    case 8: case 102: case 103: return "string";
    case 101: return "datetime";
    case 11: return "boolean";
    default: return "Unknown";
  }
}

}  // namespace

std::vector<std::string> WMIDiscovery::Texts(const platform::Variant& value) {
  std::vector<std::string> texts;
  if (value.Type == platform::VtNull) {
    texts.emplace_back();
  } else if (value.ElementType() == platform::VtBstr) {
    for (const auto& text : value.Texts) texts.push_back(platform::WideCharToMultiByte(kUtf8, text));
  }
  return texts;
}

std::vector<double> WMIDiscovery::Numbers(const platform::Variant& value) {
  std::vector<double> numbers;
  switch (value.ElementType()) {
    case platform::VtI1: case platform::VtI2: case platform::VtI4: case platform::VtI8:
    case platform::VtUi1: case platform::VtUi2: case platform::VtUi4: case platform::VtUi8:
      for (int64_t n : value.Integers) numbers.push_back(static_cast<double>(n));
      break;
    case platform::VtR4: case platform::VtR8:
      numbers = value.Reals;
      break;
    case platform::VtBstr:
      // 64-bit integers and times come as text: their leading number counts.
      for (const auto& text : value.Texts) {
        const std::string narrow = platform::WideCharToMultiByte(kUtf8, text);
        char* end = nullptr;
        const double number = std::strtod(narrow.c_str(), &end);
        if (end != narrow.c_str()) numbers.push_back(number);
      }
      break;
    default:
      break;
  }
  return numbers;
}

std::vector<bool> WMIDiscovery::Booleans(const platform::Variant& value) {
  std::vector<bool> values;
  if (value.ElementType() == platform::VtBool)
    for (int64_t n : value.Integers) values.push_back(n != 0);
  return values;
}

WMITable::WMITable(const std::wstring& name, platform::WbemEnumerator* enumerator) : className(name) {
  if (!enumerator) return;
  for (;;) {
    platform::WbemObject* row = nullptr;
    uint32_t returned = 0;
    const platform::HResult result = platform::Next(enumerator, platform::WbemInfinite, &row, &returned);
    if (returned == 0 || !row) break;
    rows.push_back(row);
    if (result != platform::SOk) break;
  }
}

WMITable::~WMITable() {
  for (auto* row : rows) platform::Release(row);
}

bool WMITable::GetFromRow(const std::wstring& property, platform::Variant& value, size_t row) const {
  if (row < 1 || row > rows.size()) return false;
  platform::Variant read;
  if (platform::Get(rows[row - 1], property, read, nullptr) < 0) return false;
  value = read;
  return true;
}

bool WMITable::GetFirst(const std::wstring& property, platform::Variant& value) const {
  if (rows.empty()) value = platform::Variant();
  for (auto* row : rows) {
    platform::Variant read;
    if (platform::Get(row, property, read, nullptr) >= 0) {
      value = read;
      return true;
    }
  }
  return false;
}

std::string WMITable::ToXml() const {
  std::string xml;
  const std::string name = XmlEscape(Narrow(className));
  for (size_t index = 0; index < rows.size(); ++index) {
    xml += "<INSTANCE NAME=\"" + name + "-" + ToText(static_cast<uint32_t>(index)) + "\" CLASSNAME=\"" + name + "\">\n";
    std::vector<std::wstring> names;
    platform::GetNames(rows[index], platform::WbemFlagNonSystemOnly, names);
    for (const auto& property : names) {
      platform::Variant value;
      int32_t cimType = 0;
      platform::Get(rows[index], property, value, &cimType);
      const std::string word = TypeWord(cimType);
      xml += "  <PROPERTY NAME=\"" + XmlEscape(Narrow(property)) + "\" TYPE=\"" + word + "\">\n";
      std::vector<std::string> lines;
      if (word == "string") {
        for (const auto& text : WMIDiscovery::Texts(value)) lines.push_back(XmlEscape(text));
      } else if (word == "integer" || word == "datetime") {
        for (double number : WMIDiscovery::Numbers(value)) lines.push_back(ToText(number));
      } else if (word == "boolean") {
        for (bool flag : WMIDiscovery::Booleans(value)) lines.push_back(flag ? "true" : "false");
      }
      for (const auto& line : lines) xml += "    <VALUE>" + line + "</VALUE>\n";
      xml += "  </PROPERTY>\n";
    }
    xml += "</INSTANCE>\n";
  }
  return xml;
}

WMIDiscovery::WMIDiscovery(const std::wstring& nameSpace) {
  platform::HResult result = platform::CoInitializeEx(platform::CoinitMultithreaded);
  if (result < 0) throw Failure("Failed to initialize COM library. Error code = 0x", result);
  result = platform::CreateWbemLocator(&locator);
  if (result < 0) {
    platform::CoUninitialize();
    throw Failure("Failed to create IWbemLocator object. Err code = 0x", result);
  }
  result = platform::ConnectServer(locator, nameSpace, &services);
  if (result < 0) {
    platform::Release(locator);
    platform::CoUninitialize();
    throw Failure("Could not connect. Error code = 0x", result);
  }
  result = platform::SetProxyBlanket(services, platform::RpcAuthnWinNt, platform::RpcAuthzNone,
                                     platform::RpcAuthnLevelCall, platform::RpcImpLevelImpersonate);
  if (result < 0) {
    platform::Release(services);
    platform::Release(locator);
    platform::CoUninitialize();
    throw Failure("Could not set proxy blanket. Error code = 0x", result);
  }
}

WMIDiscovery::~WMIDiscovery() {
  delete currentTable;
  platform::Release(services);
  platform::Release(locator);
  for (auto& entry : tables) delete entry.second;
  platform::CoUninitialize();
}

WMIDiscovery& WMIDiscovery::Instance() {
  static std::unique_ptr<WMIDiscovery> instance;
  if (!instance) instance.reset(new WMIDiscovery(L"ROOT\\CIMV2"));
  return *instance;
}

platform::WbemEnumerator* WMIDiscovery::ExecQuery(const std::wstring& wql) {
  platform::WbemEnumerator* enumerator = nullptr;
  const platform::HResult result =
      platform::ExecQuery(services, L"WQL", wql, platform::WbemFlagForwardOnly | platform::WbemFlagReturnImmediately,
                          &enumerator);
  if (result < 0) {
    if (enumerator) platform::Release(enumerator);
    return nullptr;
  }
  return enumerator;
}

size_t WMIDiscovery::RunQuery(const std::wstring& wql) {
  delete currentTable;
  currentTable = nullptr;
  platform::WbemEnumerator* enumerator = ExecQuery(wql);
  currentTable = new WMITable(L"", enumerator);
  if (enumerator) platform::Release(enumerator);
  return currentTable->RowCount();
}

bool WMIDiscovery::GetRowValue(const std::wstring& property, std::string& value, size_t row) {
  value.clear();
  platform::Variant read;
  if (currentTable && currentTable->GetFromRow(property, read, row)) {
    const auto texts = Texts(read);
    if (!texts.empty()) value = texts.front();
  }
  return true;
}

bool WMIDiscovery::GetFirstValue(const std::wstring& wql, const std::wstring& property, std::string& value) {
  value.clear();
  platform::WbemEnumerator* enumerator = ExecQuery(wql);
  WMITable table(L"", enumerator);
  if (enumerator) platform::Release(enumerator);
  platform::Variant read;
  if (!table.GetFirst(property, read)) return false;
  const auto texts = Texts(read);
  if (!texts.empty()) value = texts.front();
  return !texts.empty();
}

bool WMIDiscovery::GetFirstNumber(const std::wstring& wql, const std::wstring& property, double& value) {
  platform::WbemEnumerator* enumerator = ExecQuery(wql);
  WMITable table(L"", enumerator);
  if (enumerator) platform::Release(enumerator);
  platform::Variant read;
  if (!table.GetFirst(property, read)) return false;
  const auto numbers = Numbers(read);
  if (numbers.empty()) return false;
  value = numbers.front();
  return true;
}

double WMIDiscovery::GetByteArray(const std::wstring& className, const std::wstring& property,
                                  std::vector<uint8_t>& buffer) {
  platform::WbemEnumerator* enumerator = ExecQuery(L"SELECT * FROM " + className);
  if (!enumerator) return -1.0;
  double result = 0.0;
  for (;;) {
    platform::WbemObject* row = nullptr;
    uint32_t returned = 0;
    platform::Next(enumerator, platform::WbemInfinite, &row, &returned);
    if (returned == 0 || !row) break;
    platform::Variant value;
    if (platform::Get(row, property, value, nullptr) < 0) {
      result = -1.0;
    } else if (value.IsArray()) {
      // The array's own count, cut to what the caller's buffer holds.
      const size_t count = value.Integers.size() < buffer.size() ? value.Integers.size() : buffer.size();
      for (size_t i = 0; i < count; ++i) buffer[i] = static_cast<uint8_t>(value.Integers[i]);
    }
    platform::Release(row);
    if (result < 0) break;
  }
  platform::Release(enumerator);
  return result;
}

WMITable* WMIDiscovery::GetTable(const std::wstring& className) {
  auto found = tables.find(className);
  if (found != tables.end()) return found->second;
  platform::WbemEnumerator* enumerator = ExecQuery(L"SELECT * FROM " + className);
  auto* table = new WMITable(className, enumerator);
  if (enumerator) platform::Release(enumerator);
  tables[className] = table;
  return table;
}

std::string WMIDiscovery::ToXml() const {
  std::string xml = "<DISCO>\n";
  for (const auto& entry : tables) xml += entry.second->ToXml() + "\n";
  return xml + "</DISCO>\n";
}
