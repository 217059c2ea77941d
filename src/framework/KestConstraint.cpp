#include "framework/KestConstraint.h"

#include <vector>

#include "framework/KestArgument.h"
#include "text/TextHelpers.h"

namespace {

const char* const kHelpTexts[] = {
    "\n\t - Value must be equal to ",
    "\n\t - Value must be different than ",
    "\n\t - Value must be greater than ",
    "\n\t - Value must be equal to or greater than ",
    "\n\t - Value must be equal to or less than ",
    "\n\t - Value must be less than ",
};

const char* const kCatalogAttributes[] = {
    " Equal=\"", " DifferentThan=\"", " GreaterThan=\"", " EqualToOrGreaterThan=\"", " EqualToOrLessThan=\"",
    " LessThan=\"",
};

}  // namespace

KestConstraint::KestConstraint(int32_t low, int32_t high)
    : LowInt(low), HighInt(high), IsRange(true), Kind(KestArgument::TypeInteger) {}
KestConstraint::KestConstraint(double low, double high)
    : LowDouble(low), HighDouble(high), IsRange(true), Kind(KestArgument::TypeDouble) {}
KestConstraint::KestConstraint(int64_t low, int64_t high)
    : LowLarge(low), HighLarge(high), IsRange(true), Kind(KestArgument::TypeLargeInteger) {}
KestConstraint::KestConstraint(int32_t value, Operators op)
    : CompareInt(value), Operator(op), Kind(KestArgument::TypeInteger) {}
KestConstraint::KestConstraint(double value, Operators op)
    : CompareDouble(value), Operator(op), Kind(KestArgument::TypeDouble) {}
KestConstraint::KestConstraint(int64_t value, Operators op)
    : CompareLarge(value), Operator(op), Kind(KestArgument::TypeLargeInteger) {}
KestConstraint::KestConstraint(const std::string& list) : List(list) {}

KestConstraint::~KestConstraint() = default;

template <typename T>
bool KestConstraint::Compare(T value, T low, T high, T compare) const {
  if (IsRange) return low <= value && value <= high;
  switch (Operator) {
    case Equal: return value == compare;
    case DifferentThan: return value != compare;
    case GreaterThan: return value > compare;
    case EqualToOrGreaterThan: return value >= compare;
    case EqualToOrLessThan: return value <= compare;
    case LessThan: return value < compare;
    default: return false;
  }
}

bool KestConstraint::IsSatisfiedBy(const std::string& value) const {
  if (!List.empty()) {
    std::vector<std::string> words;
    Split(List, ",", words);
    std::string lowered = ToLower(value);
    for (const std::string& word : words)
      if (ToLower(word) == lowered) return true;
    return false;
  }
  switch (Kind) {
    case KestArgument::TypeInteger:
      return IsInteger(value) && Compare(ToInt32(value), LowInt, HighInt, CompareInt);
    case KestArgument::TypeDouble:
      return IsDouble(value) && Compare(ToDouble(value), LowDouble, HighDouble, CompareDouble);
    case KestArgument::TypeLargeInteger:
      return IsInteger(value) && Compare(ToInt64(value), LowLarge, HighLarge, CompareLarge);
    default:
      return false;
  }
}

std::string KestConstraint::GetLowText() const {
  switch (Kind) {
    case KestArgument::TypeInteger: return ToText(LowInt);
    case KestArgument::TypeDouble: return ToText(LowDouble);
    case KestArgument::TypeLargeInteger: return ToText(LowLarge);
    default: return "invalidString";
  }
}

std::string KestConstraint::GetHighText() const {
  switch (Kind) {
    case KestArgument::TypeInteger: return ToText(HighInt);
    case KestArgument::TypeDouble: return ToText(HighDouble);
    case KestArgument::TypeLargeInteger: return ToText(HighLarge);
    default: return "invalidString";
  }
}

std::string KestConstraint::CompareText() const {
  switch (Kind) {
    case KestArgument::TypeInteger: return ToText(CompareInt);
    case KestArgument::TypeDouble: return ToText(CompareDouble);
    case KestArgument::TypeLargeInteger: return ToText(CompareLarge);
    default: return "invalidString";
  }
}

std::string KestConstraint::GetHelpText() const {
  if (!List.empty()) {
    std::string words = List;
    ReplaceAll(words, ",", "|");
    return "\n\t - Value must be one of [" + words + "]";
  }
  if (IsRange) return "\n\t - Value must be between [" + GetLowText() + ".." + GetHighText() + "]";
  if (Operator < Equal || Operator > LessThan) return "";
  return kHelpTexts[Operator] + CompareText();
}

std::string KestConstraint::GetCatalogAttributes() const {
  if (!List.empty()) return " List=\"" + XmlEscape(List) + "\"";
  if (IsRange) return " Low=\"" + GetLowText() + "\" High=\"" + GetHighText() + "\"";
  if (Operator < Equal || Operator > LessThan) return "";
  return kCatalogAttributes[Operator] + CompareText() + "\"";
}
