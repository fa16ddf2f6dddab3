#pragma once

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/plat/config/KeyStore.h"

namespace rdr {
class FileInStream;
}  // namespace rdr

namespace qzutil {

/// One configuration file as a map of keys, for programs that change single ones.
///
/// Purpose:   each operation reads the file anew and, to change it, replaces it as a whole, ordered by key; a reader
///            sees the old contents or the new ones. Lines that are no settings, comments among them, are keys like any
///            other: kept, but ordered with the rest, and written with what their escapes stood for.
/// Ownership: holds the path only, no descriptor between calls.
/// Limit:     two processes that change the file at the same time may lose one of the changes.
/// Failure:   a file that is not there is an empty one; any other failure passes on, and the file is as it was.
class ConfigFile final : public plat::KeyStore, private plat::NonCopyable {
public:
  explicit ConfigFile(const char* path) : path_(path) {}

  /// @throws plat::SystemException "Error opening \"%s\""; plat::Exception for a file that cannot be read
  plat::ParameterMap values() override;
  // These throw what values() and write() do.
  void set(const char* name, const char* value) override;
  /// Leaves a missing file missing.
  void remove(const char* name) override;
  void setUnlessThere(const char* name, const char* value) override;

  /// Replaces the contents. The file is for the user alone from then on.
  /// @throws plat::SystemException what rdr::TransactedFileOutStream raises
  /// @throws plat::Exception "The value of %s is too long"
  void write(const plat::ParameterMap& values);

  [[nodiscard]] const char* path() const noexcept { return path_.get(); }

private:
  plat::String path_;
};

/// Opens a configuration file for reading. @return false if it is not there, nor what should be a folder above it.
/// @throws plat::SystemException "Error opening \"%s\""
bool openConfigFile(rdr::FileInStream& in, const char* path);

}  // namespace qzutil
