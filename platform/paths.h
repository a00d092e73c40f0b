// Paths. The separator is '/'. A path read from a file may come from an older machine, with
// backslashes or in another case than on the disk ("Demo\TONARA.mp3"): ResolvePath finds it.
// Paths are bytes: names that aren't UTF-8 work like any others.
#pragma once

#include <string>
#include <string_view>

namespace tonara {

/// The spelling under which the path exists: the exact one first, then with backslashes as '/', then
/// matching each component without regard to ASCII case (first match in byte order). The path itself
/// if nothing exists. Any thread; may touch the disk once per component.
std::string ResolvePath(const std::string& szPath);

/// True if the resolved path exists, as a file or as a folder. Any thread; touches the disk.
bool PathExists(const std::string& szPath);

/// The same for a folder.
bool IsFolder(const std::string& szPath);

/// File name with its extension; either separator counts.
std::string_view FileNameOf(std::string_view szPath);

/// Extension with its dot, empty if there is none ("a.b/c" has none, ".mp3" is all extension).
std::string_view ExtensionOf(std::string_view szPath);

/// File name without folder and extension.
std::string_view TitleOf(std::string_view szPath);

/// The current directory with a '/' behind it; "./" if it can't be read.
std::string CurrentDirWithSlash();

}  // namespace tonara
