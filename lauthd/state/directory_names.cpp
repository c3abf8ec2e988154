// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/directory_names.h"

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <new>
#include <string_view>

namespace byod::lauthd {
namespace {

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

std::vector<std::string> NamesIn(const std::string& directory) {
  const std::unique_ptr<DIR, DirectoryCloser> open(opendir(directory.c_str()));
  if (open == nullptr) {
    if (errno == ENOMEM) throw std::bad_alloc();
    return {};
  }
  std::vector<std::string> names;
  while (const dirent* const entry = readdir(open.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

}  // namespace byod::lauthd
