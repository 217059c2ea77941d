#include "framework/KestArgument.h"

#include "framework/CmdLineParser.h"
#include "framework/KestConstraint.h"
#include "text/TextHelpers.h"

#include <vector>

KestArgument::KestArgument(const std::string& name, int32_t type, const std::string& defaultValue,
                           const std::string& description, KestConstraint* constraint, ArgumentFlag flags)
    : Name(name), Type(type), DefaultValue(defaultValue), Description(description),
      Required(HasFlag(flags, ArgumentFlag::Required)), Constraint(constraint),
      Hidden(HasFlag(flags, ArgumentFlag::Hidden)), GuiHidden(HasFlag(flags, ArgumentFlag::GuiHidden)) {}

KestArgument::~KestArgument() { delete Constraint; }

std::string KestArgument::TypeWord(int32_t type) {
  switch (type) {
    case TypeString: return "string";
    case TypeInteger: return "integer";
    case TypeBoolean: return "boolean";
    case TypeDouble: return "double";
    case TypeLargeInteger: return "largeinteger";
    default: return "";
  }
}

bool KestArgument::Validate(const std::string& value) const {
  switch (Type) {
    case TypeBoolean:
      if (!IsBooleanWord(value)) return false;
      break;
    case TypeInteger:
    case TypeLargeInteger:
      if (!IsInteger(value)) return false;
      break;
    case TypeDouble:
      if (!IsDouble(value)) return false;
      break;
    default:
      break;
  }
  return Constraint ? Constraint->IsSatisfiedBy(value) : true;
}

std::string KestArgument::GetHelpText() const {
  std::string text = Name + "=<" + TypeWord(Type) + ">";
  text += text.size() < 24 ? std::string(24 - text.size(), ' ') : std::string(2, ' ');
  text += Description;
  if (Constraint) text += Constraint->GetHelpText();
  if (!DefaultValue.empty()) text += "\n\t * Default value: " + DefaultValue;
  text += Required ? "\n\t * Required: true" : "\n\t * Required: false";
  return text;
}

std::string KestArgument::GetCatalogElement(int indent) const {
  std::string element(static_cast<size_t>(indent > 0 ? indent : 0), ' ');
  element += "<ARGUMENT";
  if (!Name.empty()) element += " Name=\"" + Name + "\"";
  element += " Type=\"" + TypeWord(Type) + "\"";
  if (!DefaultValue.empty()) element += " Value=\"" + DefaultValue + "\"";
  if (Constraint) element += Constraint->GetCatalogAttributes();
  element += Required ? " Required=\"true\"" : " Required=\"false\"";
  if (!Description.empty()) element += CatalogDescription(Description);
  if (Hidden) element += " Hidden=\"true\"";
  if (GuiHidden) element += " GUIHidden=\"true\"";
  return element + " />";
}

std::string KestArgument::GetDictionary(const std::string& prefix) const {
  const std::string key = prefix + "/" + Name;
  std::string text = "\n" + key + "/Name = TBC\n";
  text += key + "/Description = " + OneLine(Description) + "\n";
  if (Type == TypeString && Constraint && !Constraint->GetList().empty()) {
    std::vector<std::string> words;
    Split(Constraint->GetList(), ",", words);
    for (const std::string& word : words) text += key + "/List/" + word + " = TBC\n";
  }
  return text;
}
