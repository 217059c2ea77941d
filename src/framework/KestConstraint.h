// The rule on an argument's value: a range, a comparison or a list of words.
#pragma once

#include <cstdint>
#include <string>

class KestConstraint {
 public:
  enum Operators { Equal = 0, DifferentThan = 1, GreaterThan = 2, EqualToOrGreaterThan = 3, EqualToOrLessThan = 4,
                   LessThan = 5 };

  KestConstraint(int32_t low, int32_t high);
  KestConstraint(double low, double high);
  KestConstraint(int64_t low, int64_t high);
  KestConstraint(int32_t value, Operators op);
  KestConstraint(double value, Operators op);
  KestConstraint(int64_t value, Operators op);
  explicit KestConstraint(const std::string& list);
  explicit KestConstraint(const char* list) : KestConstraint(std::string(list)) {}
  virtual ~KestConstraint();

  bool IsSatisfiedBy(const std::string& value) const;
  std::string GetHelpText() const;
  std::string GetCatalogAttributes() const;
  std::string GetLowText() const;
  std::string GetHighText() const;

  const std::string& GetList() const { return List; }
  bool GetIsRange() const { return IsRange; }
  int32_t GetOperator() const { return Operator; }
  int32_t GetKind() const { return Kind; }

 private:
  template <typename T>
  bool Compare(T value, T low, T high, T compare) const;
  std::string CompareText() const;

  int32_t LowInt = 0, HighInt = 0, CompareInt = 0;
  double LowDouble = 0, HighDouble = 0, CompareDouble = 0;
  int64_t LowLarge = 0, HighLarge = 0, CompareLarge = 0;
  std::string List;
  bool IsRange = false;
  int32_t Operator = 0;
  int32_t Kind = 0;
};
