// The kind of a media file, by its extension.
#pragma once

#include <string_view>

namespace tonara {

enum MediaKind : int { kMediaInconnu = 0, kMediaAudio = 1, kMediaVideo = 2, kMediaImage = 3 };

/// 1 audio, 2 video, 3 image, 0 unknown. *pbVideoOut (nullable) receives, for a known extension,
/// whether playing it needs the video output; else it is left alone.
int GetMediaType(std::string_view szPath, bool* pbVideoOut = nullptr);

/// Whether the file needs the video output; false for unknown types. *pbVideo (nullable) receives
/// whether it is a video.
bool IsVisualMedia(std::string_view szPath, bool* pbVideo = nullptr);

}  // namespace tonara
