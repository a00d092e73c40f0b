#include "core/mediatype.h"

#include <algorithm>
#include <array>

#include "platform/paths.h"
#include "platform/textcodec.h"

namespace tonara {
namespace {

struct MediaType {
  std::string_view szExtension;
  int nKind;
  bool bVideoOut;
};

constexpr std::array<MediaType, 19> kTypes = {{
    {".mp3", kMediaAudio, false}, {".mp2", kMediaAudio, false}, {".wav", kMediaAudio, false},
    {".wmv", kMediaVideo, true},  {".mpg", kMediaVideo, true},  {".avi", kMediaVideo, true},
    {".mp4", kMediaVideo, true},  {".mts", kMediaVideo, true},  {".m2t", kMediaVideo, true},
    {".m2ts", kMediaVideo, true}, {".ts", kMediaVideo, true},   {".mkv", kMediaVideo, true},
    {".mov", kMediaVideo, true},  {".vob", kMediaVideo, true},  {".3gp", kMediaVideo, true},
    {".jpg", kMediaImage, true},  {".jpeg", kMediaImage, true}, {".bmp", kMediaImage, true},
    {".png", kMediaImage, true},
}};

const MediaType* Find(std::string_view szPath) {
  const std::string_view extension = ExtensionOf(szPath);
  const auto* found = std::find_if(kTypes.begin(), kTypes.end(),
                                   [&](const MediaType& type) { return EqualNoCase(type.szExtension, extension); });
  return found == kTypes.end() ? nullptr : found;
}

}  // namespace

int GetMediaType(std::string_view szPath, bool* pbVideoOut) {
  const MediaType* pType = Find(szPath);
  if (pType == nullptr) return kMediaInconnu;
  if (pbVideoOut != nullptr) *pbVideoOut = pType->bVideoOut;
  return pType->nKind;
}

bool IsVisualMedia(std::string_view szPath, bool* pbVideo) {
  const MediaType* pType = Find(szPath);
  if (pbVideo != nullptr) *pbVideo = pType != nullptr && pType->nKind == kMediaVideo;
  return pType != nullptr && pType->bVideoOut;
}

}  // namespace tonara
