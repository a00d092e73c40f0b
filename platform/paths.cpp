#include "platform/paths.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/textcodec.h"

namespace tonara {
namespace {

// Folders that may be listed for one path. Two spellings of a folder beside each other ("Demo", "demo")
// are both searched; a tree made of such pairs must not cost more than this.
constexpr int kMaxListings = 64;

bool Exists(const std::string& szPath) {
  struct stat st {};
  return !szPath.empty() && stat(szPath.c_str(), &st) == 0;
}

bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

/// Names in the folder that mean szName: another case, or the same text kept on the disk in
/// Windows-1252. In byte order.
std::vector<std::string> Candidates(const std::string& szFolder, std::string_view szName) {
  std::vector<std::string> found;
  const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(szFolder.empty() ? "." : szFolder.c_str()), closedir);
  if (!dir) return found;
  while (const dirent* pEntry = readdir(dir.get())) {
    const std::string_view name = pEntry->d_name;
    if (EqualNoCase(name, szName) || (!IsUtf8(name) && EqualNoCase(ToUtf8(name), szName))) found.emplace_back(name);
  }
  std::sort(found.begin(), found.end());
  return found;
}

/// Finds the rest of a path (components between '/') below szBase; empty if it isn't there.
std::string FindBelow(const std::string& szBase, std::string_view rest, int* pListings) {
  while (rest.starts_with('/')) rest.remove_prefix(1);
  if (rest.empty()) return szBase;
  const size_t slash = rest.find('/');
  const std::string name(rest.substr(0, slash));
  const std::string_view below = slash == std::string_view::npos ? std::string_view{} : rest.substr(slash);

  const auto tryName = [&](const std::string& szName) -> std::string {
    const std::string path = szBase + szName;
    if (!Exists(path)) return {};
    return below.empty() ? path : FindBelow(path + "/", below, pListings);
  };
  if (std::string found = tryName(name); !found.empty()) return found;
  if (--*pListings < 0) return {};
  for (const std::string& candidate : Candidates(szBase, name)) {
    if (candidate == name) continue;
    if (std::string found = tryName(candidate); !found.empty()) return found;
  }
  return {};
}

}  // namespace

std::string ResolvePath(const std::string& szPath) {
  if (szPath.empty() || Exists(szPath)) return szPath;
  std::string slashed = szPath;
  std::replace(slashed.begin(), slashed.end(), '\\', '/');
  if (slashed != szPath && Exists(slashed)) return slashed;
  int nListings = kMaxListings;
  const bool bAbsolute = slashed.starts_with('/');
  std::string found = FindBelow(bAbsolute ? "/" : "", slashed, &nListings);
  return found.empty() ? szPath : found;
}

bool PathExists(const std::string& szPath) {
  return Exists(ResolvePath(szPath));
}

bool IsFolder(const std::string& szPath) {
  struct stat st {};
  return !szPath.empty() && stat(ResolvePath(szPath).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string_view FileNameOf(std::string_view szPath) {
  const auto last = std::find_if(szPath.rbegin(), szPath.rend(), IsSeparator);
  return szPath.substr(static_cast<size_t>(szPath.rend() - last));
}

std::string_view ExtensionOf(std::string_view szPath) {
  const std::string_view name = FileNameOf(szPath);
  const size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view{} : name.substr(dot);
}

std::string_view TitleOf(std::string_view szPath) {
  const std::string_view name = FileNameOf(szPath);
  return name.substr(0, name.size() - ExtensionOf(szPath).size());
}

std::string CurrentDirWithSlash() {
  const std::unique_ptr<char, void (*)(void*)> dir(getcwd(nullptr, 0), std::free);
  if (!dir || dir.get()[0] != '/') return "./";  // "(unreachable)/..." for a folder outside our root
  std::string szDir = dir.get();
  if (!szDir.ends_with('/')) szDir += '/';
  return szDir;
}

}  // namespace tonara
