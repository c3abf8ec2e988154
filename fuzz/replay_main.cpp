// SPDX-License-Identifier: Apache-2.0
// Runs a fuzzer over given files, and over the files in given directories, once each. Fails when
// there are none, so that a lost corpus does not pass for a good one.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

bool Replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file) {
    std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
    return false;
  }
  // Named beforehand, so that the last line before a crash names the input.
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);
  // In a block of its own size, so that a sanitizer sees a read beyond it.
  const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<fs::path> inputs;
  for (int i = 1; i < count; ++i) {
    std::error_code error;
    if (!fs::is_directory(arguments[i], error)) {
      inputs.emplace_back(arguments[i]);
      continue;
    }
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(arguments[i], error)) {
      if (entry.is_regular_file()) inputs.push_back(entry.path());
    }
  }
  std::sort(inputs.begin(), inputs.end());
  if (inputs.empty()) {
    std::fprintf(stderr, "usage: %s FILE|DIRECTORY...\nno inputs\n", arguments[0]);
    return 1;
  }
  const auto replayed = std::count_if(inputs.begin(), inputs.end(), Replay);
  std::printf("%td of %zu inputs replayed\n", replayed, inputs.size());
  return static_cast<size_t>(replayed) == inputs.size() ? 0 : 1;
}
