#pragma once

#include <map>

#include "base/plat/MBuf.h"
#include "base/plat/String.h"
#include "base/plat/config/ConfigParameter.h"

namespace plat {

/// What all parameters have in common that store a T for each priority: bool, int, String and MBuf<unsigned char>.
/// How a text becomes a T is left to the derived classes.
template <class T>
class TypedParameter : public ConfigParameter {
public:
  void unsetParam(int priority, bool notify) override;
  [[nodiscard]] String getValueStr() const override;
  [[nodiscard]] int getPriority() const override;
  [[nodiscard]] bool hasPriority(int priority) const override;
  [[nodiscard]] String getValueStrAt(int priority) const override;
  [[nodiscard]] std::map<int, String> getAllValues() const override;

protected:
  TypedParameter(const char* name, const char* desc, const char* locDesc, T defaultValue, bool advanced,
                 Configuration* configuration, const char* tags);
  TypedParameter(const TypedParameter& other, Configuration& target);

  /// The value in force.
  [[nodiscard]] const T& current() const noexcept { return values_.rbegin()->second; }
  /// Puts a value in, with what follows from it; an equal one changes nothing. @return false if it is not admitted.
  bool setValue(T value, int priority);

private:
  [[nodiscard]] String toText(const T& value) const;

  std::map<int, T> values_;  ///< by priority; never empty
};

extern template class TypedParameter<bool>;
extern template class TypedParameter<int>;
extern template class TypedParameter<String>;
extern template class TypedParameter<MBuf<unsigned char>>;

}  // namespace plat
