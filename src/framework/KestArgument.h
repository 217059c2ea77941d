// One argument declared by a subtest.
#pragma once

#include <cstdint>
#include <string>

class KestConstraint;

// What a declaration says of an argument beyond its value; combined with |.
enum class ArgumentFlag : uint32_t {
  None = 0,
  Required = 1,   // the command line must give it
  Hidden = 2,     // left out of the help
  GuiHidden = 4,  // not offered by a graphical front end
};

constexpr ArgumentFlag operator|(ArgumentFlag a, ArgumentFlag b) {
  return static_cast<ArgumentFlag>(static_cast<uint32_t>(a) | static_cast<uint32_t>(b));
}

constexpr bool HasFlag(ArgumentFlag flags, ArgumentFlag flag) {
  return (static_cast<uint32_t>(flags) & static_cast<uint32_t>(flag)) != 0;
}

class KestArgument {
 public:
  enum Types { TypeString = 0, TypeInteger = 1, TypeBoolean = 2, TypeDouble = 3, TypeLargeInteger = 4 };

  // Takes over `constraint`.
  KestArgument(const std::string& name, int32_t type, const std::string& defaultValue, const std::string& description,
               KestConstraint* constraint = nullptr, ArgumentFlag flags = ArgumentFlag::None);
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
