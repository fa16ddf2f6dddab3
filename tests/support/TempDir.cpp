#include "tests/support/TempDir.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace test {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::runtime_error(what + " " + path + ": " + std::strerror(errno));
}

/// Calls `visit` for everything below a folder that may be read; a folder's permissions may be changed on the way.
template <class Visit>
void walk(const std::string& path, Visit visit) {
  std::error_code error;
  for (fs::recursive_directory_iterator at(path, fs::directory_options::skip_permission_denied, error);
       at != fs::end(at); at.increment(error)) {
    visit(*at);
  }
}

void reportTemporaryFile(const fs::directory_entry& entry) {
  static const std::regex temporary(R"(.*\.tmp(\([0-9]+\))?)");
  if (std::regex_match(entry.path().filename().string(), temporary)) {
    ADD_FAILURE() << "temporary file left behind: " << entry.path().string();
  }
}

// A folder gets its permissions back before it is entered, so one walk from the top opens everything.
void restorePermissions(const fs::directory_entry& entry) {
  std::error_code error;
  if (!entry.is_symlink(error) && entry.is_directory(error)) {
    ::chmod(entry.path().c_str(), 0700);
  }
}

}  // namespace

TempDir::TempDir() {
  path_ = fs::canonical(fs::temp_directory_path()).string() + "/keltest-XXXXXX";
  if (::mkdtemp(path_.data()) == nullptr) {
    fail("mkdtemp", path_);
  }
}

TempDir::~TempDir() {
  std::error_code error;
  walk(path_, reportTemporaryFile);
  fs::remove_all(path_, error);
  if (error) {
    restorePermissions(fs::directory_entry(path_));
    walk(path_, restorePermissions);
    fs::remove_all(path_, error);
  }
  EXPECT_FALSE(error) << "cannot remove " << path_ << ": " << error.message();
}

std::string TempDir::operator/(std::string_view name) const {
  return name.empty() ? path_ : path_ + "/" + std::string(name);
}

void TempDir::write(std::string_view name, std::string_view bytes) const {
  const std::string path = *this / name;
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) {
    fail("cannot write", path);
  }
}

std::string TempDir::read(std::string_view name) const {
  const std::string path = *this / name;
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    fail("cannot read", path);
  }
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string TempDir::makeDir(std::string_view name) const {
  std::string path = *this / name;
  fs::create_directories(path);
  return path;
}

void TempDir::link(std::string_view target, std::string_view name) const {
  fs::create_symlink(target, *this / name);
}

std::vector<std::string> TempDir::list(std::string_view name) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(*this / name)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool TempDir::exists(std::string_view name) const {
  struct stat info;
  return ::lstat((*this / name).c_str(), &info) == 0;
}

}  // namespace test
