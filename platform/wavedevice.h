// Wave output and input devices: open by index, queue blocks, be told of finished ones, pause,
// restart, reset, position. Behind it stand the backends pulse, alsa, null and file, and in tests a
// fake. A device keeps time whatever happens to the hardware or the sound server: blocks go on
// completing at the sample rate, and no call waits for a server longer than a short deadline.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/waveformat.h"

namespace tonara {

/// A block on its way through a device. The caller owns it and its data until the callback has come
/// for it (or Reset or Close has returned).
struct WaveHeader {
  uint8_t* pData = nullptr;
  uint32_t dwLength = 0;    ///< bytes to play, or room for capture
  uint32_t dwRecorded = 0;  ///< capture: bytes that hold sound
  void* pUser = nullptr;    ///< the caller's
};

/// Called on a thread of the backend when a block is done (played, recorded, or given back by Reset).
/// May set a flag and an event, nothing else: no lock of the engine, no call into the device.
using WaveCallback = void (*)(WaveHeader* pHeader);

/// What a device says of a stream that it loses or gets back: one line each, no line feed. Called on
/// a thread of the backend; may trace, nothing else.
using WaveNotice = void (*)(const char* szText);

/// An open output, paused at first. Calls come from one thread at a time (the owner holds a lock).
/// False means the call failed; ErrorText then tells why. No call blocks for more than 100 ms,
/// Close not for more than 500 ms.
class CWaveOutDevice {
 public:
  virtual ~CWaveOutDevice() = default;  ///< closes
  /// Queues a block behind those queued. Plays at once unless paused.
  virtual bool Write(WaveHeader* pHeader) = 0;
  virtual bool Pause() = 0;
  virtual bool Restart() = 0;
  /// Gives all queued blocks back through the callback before it returns; position goes to 0.
  virtual bool Reset() = 0;
  /// Frames of finished blocks since opening or Reset, modulo 2^32. Never beyond what was written,
  /// never backwards but for the wrap. Moves in whole blocks, at the moment of their callback.
  virtual bool GetPosition(uint32_t* pdwFrames) = 0;
  /// Volume of each side, 0 to 65535, low half left, high half right.
  virtual bool SetVolume(uint32_t dwVolume) = 0;
  /// Text of the last failure, up to 128 bytes.
  [[nodiscard]] virtual std::string ErrorText() const = 0;
};

/// An open input, stopped at first. Same rules as for an output.
class CWaveInDevice {
 public:
  virtual ~CWaveInDevice() = default;
  /// Gives the device a block to fill; it comes back full (dwRecorded bytes) through the callback.
  virtual bool AddBuffer(WaveHeader* pHeader) = 0;
  virtual bool Start() = 0;
  /// Stops and gives all blocks back through the callback, the first perhaps partly filled.
  virtual bool Reset() = 0;
  [[nodiscard]] virtual std::string ErrorText() const = 0;
};

/// Device index, from 0, that a backend may take for "whatever output is the default".
/// Not a listed device: it is what a failed search by name (-1) opens.
inline constexpr uint32_t kWaveMapper = 0xFFFFFFFFu;

/// A family of devices. Any thread; every call returns within a second, servers or not.
class CWaveBackend {
 public:
  virtual ~CWaveBackend() = default;
  [[nodiscard]] virtual const char* Name() const = 0;
  /// Number of listed outputs and inputs now, and their names (at most 31 bytes, whole characters).
  virtual uint32_t OutCount() = 0;
  virtual bool OutName(uint32_t nIndex, std::string* pName) = 0;
  virtual uint32_t InCount() = 0;
  virtual bool InName(uint32_t nIndex, std::string* pName) = 0;
  /// Index of the first listed output (input) that szName means, -1 if there is none: a listed name,
  /// exactly, or whatever other name the backend knows the device by. The indexes are those of the
  /// next OutName (InName) and OpenOut (OpenIn).
  virtual int32_t FindOut(const std::string& szName);
  virtual int32_t FindIn(const std::string& szName);
  /// Opens an output for that format, bExtensible telling in which dress the format is offered.
  /// Null with *pError filled if the device refuses (format, access). A device or server that is
  /// absent for now is no refusal: it opens, keeps time in silence and comes alive when it can.
  virtual std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool bExtensible,
                                                  WaveCallback fnDone, std::string* pError) = 0;
  virtual std::unique_ptr<CWaveInDevice> OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& format, bool bExtensible,
                                                WaveCallback fnDone, std::string* pError) = 0;
};

/// Where the backends report losses and returns of a device; null for nowhere. Set before any open.
void SetWaveNotice(WaveNotice fnNotice);

/// Makes the backend that szChoice names: "auto" or empty (a sound server, else ALSA), "pulse",
/// "alsa", "null", "file:DIR". An unknown name gives auto. Never null.
std::unique_ptr<CWaveBackend> MakeWaveBackend(const std::string& szChoice);

/// The process's backend: made from the environment variable TONARA_AUDIO at the first call, unless
/// SetWaveBackend came first.
CWaveBackend& WaveBackend();

/// Replaces the process's backend (tests); not owned; null goes back to the environment's choice.
/// No device may be open.
void SetWaveBackend(CWaveBackend* pBackend);

}  // namespace tonara
