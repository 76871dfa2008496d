// Runs a fuzz target over files and folders of inputs, without a fuzzer: any compiler, any
// sanitizer. Fails when there is no input.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "fuzz/fuzz_input.h"

namespace {

namespace fs = std::filesystem;

bool Replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string read(std::istreambuf_iterator<char>(file), {});
  if (!file) {
    std::cerr << "cannot read " << path << '\n';
    return false;
  }
  // Named before it runs: what crashes has no time to.
  std::cerr << path.filename().string() << '\n';
  const std::vector<uint8_t> bytes(read.begin(), read.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  return true;
}

int ReplayAll(int count, char** names) {
  int inputs = 0;
  for (int i = 1; i < count; ++i) {
    std::vector<fs::path> paths;
    if (fs::is_directory(names[i])) {
      for (const fs::directory_entry& entry : fs::directory_iterator(names[i])) {
        if (entry.is_regular_file()) paths.push_back(entry.path());
      }
    } else {
      paths.emplace_back(names[i]);
    }
    std::sort(paths.begin(), paths.end());
    for (const fs::path& path : paths) {
      if (!Replay(path)) return 1;
      ++inputs;
    }
  }
  std::cout << inputs << " inputs\n";
  return inputs > 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** names) {
  try {
    return ReplayAll(count, names);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
