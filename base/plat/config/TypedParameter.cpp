#include "base/plat/config/TypedParameter.h"

#include <type_traits>
#include <utility>

#include "base/plat/hex.h"

namespace plat {

template <class T>
TypedParameter<T>::TypedParameter(const char* name, const char* desc, const char* locDesc, T defaultValue,
                                  bool advanced, Configuration* configuration, const char* tags)
    : ConfigParameter(name, desc, locDesc, advanced, configuration, tags) {
  // In here from the start and never taken out: reading the value in force relies on there being a last entry.
  values_.emplace(PriorityDefault, std::move(defaultValue));
}

template <class T>
TypedParameter<T>::TypedParameter(const TypedParameter& other, Configuration& target)
    : ConfigParameter(other, target), values_(other.values_) {}

template <class T>
bool TypedParameter<T>::setValue(T value, int priority) {
  if (!admits(priority)) {
    return false;
  }
  const auto found = values_.find(priority);
  // Neither a log line nor a callback for what changes nothing.
  if (found != values_.end() && found->second == value) {
    return true;
  }
  values_.insert_or_assign(priority, std::move(value));
  wasSet(priority);
  return true;
}

template <class T>
void TypedParameter<T>::unsetParam(int priority, bool notify) {
  if (priority != PriorityDefault && values_.erase(priority) != 0) {
    wasUnset(priority, notify);
  }
}

template <class T>
String TypedParameter<T>::toText(const T& value) const {
  // Each form is one that setParam reads back, on which assignFrom() relies.
  if constexpr (std::is_same_v<T, bool>) {
    return value ? "1" : "0";
  } else if constexpr (std::is_same_v<T, int>) {
    // Virtual, since an EnumParameter stores an int as well and has a name for it.
    return intToStr(value);
  } else if constexpr (std::is_same_v<T, String>) {
    return value;
  } else {
    return binToHex(value.data(), static_cast<std::size_t>(value.size()));
  }
}

template <class T>
String TypedParameter<T>::getValueStr() const {
  return toText(current());
}

template <class T>
int TypedParameter<T>::getPriority() const {
  return values_.rbegin()->first;
}

template <class T>
bool TypedParameter<T>::hasPriority(int priority) const {
  return values_.count(priority) != 0;
}

template <class T>
String TypedParameter<T>::getValueStrAt(int priority) const {
  const auto found = values_.find(priority);
  return found == values_.end() ? String() : toText(found->second);
}

template <class T>
std::map<int, String> TypedParameter<T>::getAllValues() const {
  std::map<int, String> texts;
  for (const auto& [priority, value] : values_) {
    texts.emplace(priority, toText(value));
  }
  return texts;
}

// All the types that there are, so that the definitions can stay in this file.
template class TypedParameter<bool>;
template class TypedParameter<int>;
template class TypedParameter<String>;
template class TypedParameter<MBuf<unsigned char>>;

}  // namespace plat
