// Client of the management instrumentation: one connected namespace, WQL queries, property
// values as text or numbers, and the DISCO XML form of the tables it holds.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/wmi.h"

// The rows of one query, owned.
class WMITable {
 public:
  // Takes every row the enumerator gives; a null enumerator gives a table without rows.
  WMITable(const std::wstring& name, platform::WbemEnumerator* enumerator);
  virtual ~WMITable();
  WMITable(const WMITable&) = delete;
  WMITable& operator=(const WMITable&) = delete;

  size_t RowCount() const { return rows.size(); }
  // `property` of row number `row`, counted from 1.
  bool GetFromRow(const std::wstring& property, platform::Variant& value, size_t row) const;
  // The first row that has `property`; a table without rows clears `value`.
  bool GetFirst(const std::wstring& property, platform::Variant& value) const;
  std::string ToXml() const;

 private:
  std::vector<platform::WbemObject*> rows;
  std::wstring className;
};

// Raises a std::string "WMIDiscovery Error: ..." when the connection fails.
class WMIDiscovery {
 public:
  explicit WMIDiscovery(const std::wstring& nameSpace);
  virtual ~WMIDiscovery();
  WMIDiscovery(const WMIDiscovery&) = delete;
  WMIDiscovery& operator=(const WMIDiscovery&) = delete;

  // The process-wide object on "ROOT\CIMV2".
  static WMIDiscovery& Instance();

  // Null when the query fails.
  platform::WbemEnumerator* ExecQuery(const std::wstring& wql);
  // Replaces the current table by the query's rows; returns their count.
  size_t RunQuery(const std::wstring& wql);
  // The first text of `property` in row `row` (from 1) of the current table; empty when absent.
  bool GetRowValue(const std::wstring& property, std::string& value, size_t row);
  // The property of the first row of the query that has it, as text; empty when no row has it.
  bool GetFirstValue(const std::wstring& wql, const std::wstring& property, std::string& value);
  // The same as a number; `value` untouched when no number came back.
  bool GetFirstNumber(const std::wstring& wql, const std::wstring& property, double& value);
  // Copies the byte array `property` of each row of the class into `buffer`, as far as it holds;
  // 0.0 when done, -1.0 when the query or a read failed.
  double GetByteArray(const std::wstring& className, const std::wstring& property, std::vector<uint8_t>& buffer);
  // The whole class, queried once and kept.
  WMITable* GetTable(const std::wstring& className);
  std::string ToXml() const;

  // Value conversions: texts of string values (UTF-8), one empty text for a null; numbers of
  // numeric values; booleans of boolean values.
  static std::vector<std::string> Texts(const platform::Variant& value);
  static std::vector<double> Numbers(const platform::Variant& value);
  static std::vector<bool> Booleans(const platform::Variant& value);

 private:
  platform::WbemLocator* locator = nullptr;
  platform::WbemServices* services = nullptr;
  WMITable* currentTable = nullptr;
  std::map<std::wstring, WMITable*> tables;
};
