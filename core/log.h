// The session log "tonara.log": technical lines of all subsystems, flushed one by one, because the
// log is read when the program has died. Plain functions over one global; off unless switched on.
#pragma once

#include <cstdint>
#include <string>

namespace tonara {

class CClock;

/// Path (folder and name joined as they are) and whether the log is on. Before any other thread runs.
/// What was traced before the first call of this is kept (the first 64 lines) and written, with the
/// stamps of its time, when the log opens; with the log off it is dropped.
void LogSetFile(const std::string& szDir, const std::string& szName, bool bActif);
/// Opens for appending and writes the opening banner. True only if it opened the file here.
bool LogOpen();
/// Writes the closing banner and closes.
void LogClose();
/// The clock of the stamps; the system's by default. It must outlive its use.
void LogSetClock(CClock& clock);

/// Writes one piece of text, printf-style, with the stamp "MM/DD/YY-HH:MM:SS : " in front if bit 0 of
/// bStamp is set. The text brings its own line feed. Does nothing while the log is off or closed. Any
/// thread; blocks on the disk. A full disk loses lines, never the program; a log that is deleted
/// meanwhile is made anew.
void Trace(int bStamp, const char* szFormat, ...) __attribute__((format(printf, 2, 3)));

/// For failures that repeat: traces the line (stamped, with a line feed added) the first time that
/// szKey occurs, then when its count reaches 10, 100, 1000 ..., with the count behind it. Any thread.
/// 256 keys are counted; one more takes the place of the one that was silent longest.
void TraceOnce(const std::string& szKey, const std::string& szText);
/// The failure has gone: the next TraceOnce of the key counts from 1 again.
void TraceOnceClear(const std::string& szKey);

}  // namespace tonara
