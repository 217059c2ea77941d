// A small in-memory model of an INI file that the program reads itself, without the private-profile
// calls: sections of records, both found by exact, case-sensitive name.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

class Record {
 public:
  Record(const std::string& recordKey, const std::string& recordValue) : key(recordKey), value(recordValue) {}
  virtual ~Record() = default;

  std::string Key() const { return key; }
  std::string Value() const { return value; }
  // "key = value" and a line feed.
  std::string ToString() const;

 private:
  std::string key;
  std::string value;
};

class Section {
 public:
  explicit Section(const std::string& sectionName) : name(sectionName) {}
  virtual ~Section() = default;
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;

  std::string Name() const { return name; }
  // Null when there is no record of that key.
  Record* GetRecord(const std::string& key) const;
  // Takes the record over; one of the same key is replaced in the map.
  void AddRecord(Record* record);
  void RemoveRecord(const std::string& key);
  // "[name]", a line feed, then each record in key order.
  std::string ToString() const;

 private:
  std::string name;
  std::map<std::string, Record*> records;
  // Replaced and removed records stay alive with the section, so no looked-up pointer dangles.
  std::vector<std::unique_ptr<Record>> owned;
};

class IniBase {
 public:
  IniBase() = default;
  // Reads the file at once; a file that does not open leaves the model empty.
  explicit IniBase(const std::string& path);
  virtual ~IniBase() = default;
  IniBase(const IniBase&) = delete;
  IniBase& operator=(const IniBase&) = delete;

  static void SetCommentMarker(const std::string& marker);
  static std::string GetCommentMarker();

  Section* GetSection(std::string name) const;
  // Takes the section over; one of the same name is replaced in the map.
  void AddSection(Section* section);
  void ParseLine(const std::string& line);
  std::string ToString() const;
  // Writes ToString() and one more line feed to `path`; silent when the file cannot be written.
  void Save(const std::string& path) const;

 private:
  std::string fileName;
  std::map<std::string, Section*> sections;
  Section* currentSection = nullptr;
  std::vector<std::unique_ptr<Section>> owned;
};
