// Loaded into the program before all else: whoever asks for a file below a folder named "disque mort" never
// gets an answer, as with a network drive whose server has gone; below "disque lent" it takes a while.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

extern "C" int stat(const char* szPath, struct stat* pInfo) {
  while (std::strstr(szPath, "/disque mort/") != nullptr) pause();
  if (std::strstr(szPath, "/disque lent/") != nullptr) usleep(20000);
  using Stat = int (*)(const char*, struct stat*);
  static const auto s_fnStat = reinterpret_cast<Stat>(dlsym(RTLD_NEXT, "stat"));
  return s_fnStat(szPath, pInfo);
}
