#include "libs/product/ConfigFile.h"

#include <cerrno>

#include "base/plat/exceptions.h"
#include "base/rdr/FileInStream.h"
#include "base/rdr/TransactedFileOutStream.h"
#include "libs/product/configFileFormat.h"

namespace qzutil {

namespace {

/// @return false if there is no such file.
bool readConfigFile(const char* path, plat::ParameterMap& values) {
  rdr::FileInStream in(nullptr);
  if (!openConfigFile(in, path)) {
    return false;
  }
  values = readConfigLines(in);
  return true;
}

}  // namespace

bool openConfigFile(rdr::FileInStream& in, const char* path) {
  try {
    in.open(path);
  } catch (const plat::SystemException& failure) {
    // A setting that nobody ever made is no failure; one that is there and cannot be read must not pass for it.
    if (failure.err != ENOENT && failure.err != ENOTDIR) {
      throw;
    }
    return false;
  }
  return true;
}

plat::ParameterMap ConfigFile::values() {
  plat::ParameterMap values;
  readConfigFile(path_.get(), values);
  return values;
}

void ConfigFile::set(const char* name, const char* value) {
  plat::ParameterMap values = this->values();
  values.insert_or_assign(name, plat::String(value));
  write(values);
}

void ConfigFile::remove(const char* name) {
  plat::ParameterMap values;
  if (readConfigFile(path_.get(), values)) {
    values.erase(name);
    write(values);
  }
}

void ConfigFile::setUnlessThere(const char* name, const char* value) {
  plat::ParameterMap values = this->values();
  if (values.try_emplace(name, value).second) {
    write(values);
  }
}

void ConfigFile::write(const plat::ParameterMap& values) {
  rdr::TransactedFileOutStream out(path_.get(), plat::FilePtr::Private);
  for (const auto& [name, value] : values) {
    writeConfigLine(out, name.c_str(), value.get());
  }
  out.commit();
}

}  // namespace qzutil
