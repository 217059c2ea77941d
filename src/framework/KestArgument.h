// One argument declared by a subtest.
#pragma once

#include <cstdint>
#include <string>

class KestConstraint;

class KestArgument {
 public:
  enum Types { TypeString = 0, TypeInteger = 1, TypeBoolean = 2, TypeDouble = 3, TypeLargeInteger = 4 };

  // Takes over `constraint`.
  KestArgument(const std::string& name, int32_t type, const std::string& defaultValue, const std::string& description,
               bool required, KestConstraint* constraint, bool hidden, bool guiHidden);
  virtual ~KestArgument();
  KestArgument(const KestArgument&) = delete;
  KestArgument& operator=(const KestArgument&) = delete;

  const std::string& GetName() const { return Name; }
  int32_t GetType() const { return Type; }
  const std::string& GetDefaultValue() const { return DefaultValue; }
  const std::string& GetDescription() const { return Description; }
  bool IsRequired() const { return Required; }
  bool IsHidden() const { return Hidden; }
  bool IsGuiHidden() const { return GuiHidden; }
  const KestConstraint* GetConstraint() const { return Constraint; }

  bool Validate(const std::string& value) const;
  std::string GetHelpText() const;
  // The <ARGUMENT> element of the catalog, `indent` blanks in, with no newline.
  std::string GetCatalogElement(int indent) const;
  // The translator's entries of this argument, under `prefix` (the test's name).
  std::string GetDictionary(const std::string& prefix) const;

  // "string", "integer", "boolean", "double", "largeinteger".
  static std::string TypeWord(int32_t type);

 private:
  std::string Name;
  int32_t Type;
  std::string DefaultValue;
  std::string Description;
  bool Required;
  KestConstraint* Constraint;
  bool Hidden;
  bool GuiHidden;
};
