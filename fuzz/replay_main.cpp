// Runs a fuzz target over a folder of inputs, without a fuzzer: any compiler, any sanitizer. Fails
// when there is no input.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>

#include "fuzz/fuzz_input.h"

int main(int count, char** names) {
  namespace fs = std::filesystem;
  std::set<fs::path> inputs;
  for (int i = 1; i < count; ++i)
    inputs.insert(fs::directory_iterator(names[i]), fs::directory_iterator());
  for (const fs::path& path : inputs) {
    // Named before it runs: what crashes has no time to.
    std::cerr << path.filename().string() << std::endl;
    std::ifstream file(path, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::cout << inputs.size() << " inputs\n";
  return inputs.empty() ? 1 : 0;
}
