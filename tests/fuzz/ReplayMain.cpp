#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Input = std::vector<uint8_t>;

std::vector<Input> ReadCorpus(const char* folder) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  std::vector<Input> corpus;
  for (const auto& path : paths) {
    std::ifstream in(path, std::ios::binary);
    corpus.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return corpus;
}

// One to eight small changes: a byte set, removed, doubled or a piece of another input inserted.
Input Mutated(const std::vector<Input>& corpus, std::mt19937& random) {
  const auto below = [&random](size_t limit) { return limit ? random() % limit : 0; };
  Input input = corpus[below(corpus.size())];
  for (size_t changes = 1 + below(8); changes > 0; --changes) {
    const auto at = input.begin() + static_cast<std::ptrdiff_t>(below(input.size() + 1));
    const Input& other = corpus[below(corpus.size())];
    const size_t start = below(other.size());
    const size_t length = below(std::min<size_t>(other.size() - start, 16) + 1);
    switch (below(4)) {
    case 0:
      if (at != input.end())
        *at = static_cast<uint8_t>(random());
      break;
    case 1:
      if (at != input.end())
        input.erase(at);
      break;
    case 2:
      input.insert(at, at == input.begin() ? uint8_t{0} : *(at - 1));
      break;
    default:
      input.insert(at, other.begin() + static_cast<std::ptrdiff_t>(start),
                   other.begin() + static_cast<std::ptrdiff_t>(start + length));
    }
  }
  return input;
}

} // namespace

// Replays a corpus folder, then a number of mutations; the same ones in every run.
int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s CORPUS-FOLDER MUTATIONS\n", argv[0]);
    return 2;
  }
  const std::vector<Input> corpus = ReadCorpus(argv[1]);
  if (corpus.empty()) {
    std::fprintf(stderr, "%s: the corpus is empty\n", argv[1]);
    return 1;
  }
  for (const Input& input : corpus)
    LLVMFuzzerTestOneInput(input.data(), input.size());
  std::mt19937 random(20260131);
  const long mutations = std::strtol(argv[2], nullptr, 10);
  for (long i = 0; i < mutations; ++i) {
    const Input input = Mutated(corpus, random);
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%zu inputs and %ld mutations\n", corpus.size(), mutations);
}
