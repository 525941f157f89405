#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// A private folder that is removed with everything in it.
class TempFolder {
public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "brenic-test-XXXXXX").string();
    if (!mkdtemp(name.data()))
      throw std::runtime_error("mkdtemp failed");
    m_path = name;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string operator/(const std::string& name) const { return (m_path / name).string(); }
  std::string Name() const { return m_path.string(); }

  // Names of what is in the folder.
  size_t Count() const {
    return static_cast<size_t>(
        std::distance(std::filesystem::directory_iterator(m_path), std::filesystem::directory_iterator()));
  }

private:
  std::filesystem::path m_path;
};

inline void WriteTextFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadTextFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
