// A start directory of a test's own, removed with everything in it at the end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace tonara::test {

class CTempDir {
 public:
  CTempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tonara-XXXXXX").string();
    m_szDir = std::string(mkdtemp(pattern.data())) + "/";
  }
  ~CTempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_szDir, ignored);
  }
  CTempDir(const CTempDir&) = delete;
  CTempDir& operator=(const CTempDir&) = delete;

  /// The folder with a '/' behind it.
  [[nodiscard]] const std::string& Dir() const { return m_szDir; }
  [[nodiscard]] std::string operator/(std::string_view szName) const { return m_szDir + std::string(szName); }
  /// Writes a file, making its folders.
  std::string Write(std::string_view szName, std::string_view bytes) const {
    std::string path = *this / szName;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  [[nodiscard]] std::string Read(std::string_view szName) const {
    std::ifstream in(*this / szName, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  [[nodiscard]] bool Exists(std::string_view szName) const { return std::filesystem::exists(*this / szName); }

 private:
  std::string m_szDir;
};

}  // namespace tonara::test
