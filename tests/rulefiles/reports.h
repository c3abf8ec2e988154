// Collects reports as texts, and makes files to read.
#ifndef BYOD_TESTS_RULEFILES_REPORTS_H
#define BYOD_TESTS_RULEFILES_REPORTS_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "rulefiles/diagnostics.h"

namespace byod::rulefiles {

struct Reports {
  std::vector<std::string> texts;
  Diagnostics diagnostics{[this](const Diagnostic& d) { texts.push_back(ToString(d)); }};
};

/// A directory that goes away with the test.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "byod-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
    path_ = pattern;
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

  std::string Write(const std::string& name, std::string_view content) const {
    const std::string path = path_ + "/" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

 private:
  std::string path_;
};

}  // namespace byod::rulefiles

#endif  // BYOD_TESTS_RULEFILES_REPORTS_H
