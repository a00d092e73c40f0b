// The demo music, written note by note: a loop, three pieces of different character, a sting of three
// tones, and the sound of the demo film. music FOLDER writes them there as WAV files.
#include <array>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include "synth.h"

namespace {

using demo::Instrument;
using demo::Score;

struct Melody {
  double fBeat;
  double fLength;
  int nPitch;
};

// A constant swing of the strength, so that no two beats sound quite the same.
double Human(double fBeat) {
  const int n = static_cast<int>(fBeat * 4);
  return 1.0 + 0.05 * ((n * 7) % 5 - 2);
}

// Eight bars at 90 to the minute, F major: slow chords, a bass on one and three, a calm melody that
// leads from its last bar into its first.
demo::Stereo Loop() {
  constexpr double kBeat = 60.0 / 90;
  Score score(32 * kBeat, true);
  const std::array<std::vector<int>, 8> chords = {{{53, 57, 60, 64},
                                                   {52, 57, 60, 67},
                                                   {53, 57, 62, 64},
                                                   {53, 58, 62, 65},
                                                   {53, 57, 60, 64},
                                                   {53, 58, 62, 67},
                                                   {53, 58, 60, 65},
                                                   {52, 58, 60, 62}}};
  const std::array<int, 8> bass = {41, 45, 38, 46, 41, 43, 36, 36};
  for (int bar = 0; bar < 8; ++bar) {
    const double t = bar * 4 * kBeat;
    double pan = -0.5;
    for (const int pitch : chords[static_cast<size_t>(bar)]) {
      score.Note(Instrument::Pad, t, 3.7 * kBeat, pitch, 0.62, pan);
      pan += 0.33;
    }
    // A broken chord in eighths, high and faint.
    const auto& c = chords[static_cast<size_t>(bar)];
    const std::array<int, 8> steps = {0, 2, 1, 3, 2, 3, 1, 2};
    for (int i = 0; i < 8; ++i) {
      const double beat = 4 * bar + 0.5 * i;
      score.Note(Instrument::Pluck, beat * kBeat, kBeat * 1.6,
                 c[static_cast<size_t>(steps[static_cast<size_t>(i)])] + 12, 0.20 * Human(beat),
                 i % 2 == 0 ? -0.45 : 0.45);
    }
    score.Note(Instrument::Bass, t, 1.8 * kBeat, bass[static_cast<size_t>(bar)], 0.55, 0);
    score.Note(Instrument::Bass, t + 2.5 * kBeat, 1.2 * kBeat, bass[static_cast<size_t>(bar)] + (bar % 2 == 0 ? 7 : 0),
               0.36, 0);
  }
  const std::vector<Melody> tune = {{0, 1.5, 72},  {1.5, 0.5, 74},  {2, 2, 76},     {4.5, 1, 79},    {5.5, 0.5, 76},
                                    {6, 2, 74},    {8, 1.5, 72},    {9.5, 0.5, 69}, {10, 2, 77},     {12.5, 1, 74},
                                    {13.5, 1, 72}, {14.5, 1.5, 70}, {16, 1.5, 69},  {17.5, 0.5, 72}, {18, 2, 76},
                                    {20.5, 1, 74}, {21.5, 0.5, 70}, {22, 2, 67},    {24, 1, 70},     {25, 1, 72},
                                    {26, 2, 77},   {28.5, 1, 74},   {29.5, 1, 76},  {30.5, 1.2, 79}};
  for (const Melody& m : tune) {
    score.Note(Instrument::Keys, m.fBeat * kBeat, m.fLength * kBeat * 1.1, m.nPitch, 0.46 * Human(m.fBeat), 0.12);
  }
  return score.Finish(0.42, 2.4, 0);
}

// "Matin clair": a waltz for two plucked strings and vibes, G major, 108 to the minute.
demo::Stereo MatinClair() {
  constexpr double kBeat = 60.0 / 108;
  constexpr int kBars = 20;
  Score score(kBars * 3 * kBeat + 4, false);
  const std::array<std::array<int, 4>, 8> chords = {{{43, 59, 62, 67},
                                                     {47, 59, 62, 66},
                                                     {48, 60, 64, 67},
                                                     {50, 57, 62, 66},
                                                     {52, 59, 64, 67},
                                                     {48, 60, 64, 69},
                                                     {45, 60, 64, 67},
                                                     {50, 60, 62, 66}}};
  for (int bar = 0; bar < kBars; ++bar) {
    const auto& c = bar == kBars - 1 ? chords[0] : chords[static_cast<size_t>((bar + 6) % 8)];
    const double t = 3.0 * bar;
    score.Note(Instrument::Pluck, t * kBeat, 3 * kBeat, c[0], 0.62, -0.1);
    if (bar == kBars - 1) {
      for (size_t i = 1; i < 4; ++i)
        score.Note(Instrument::Pluck, (t + 0.09 * static_cast<double>(i)) * kBeat, 6 * kBeat, c[i], 0.5, 0.2);
      break;
    }
    const std::array<size_t, 5> steps = {1, 2, 3, 2, 1};
    for (size_t i = 0; i < 5; ++i) {
      const double beat = t + 0.5 + 0.5 * static_cast<double>(i);
      score.Note(Instrument::Pluck, beat * kBeat, 1.4 * kBeat, c[steps[i]], 0.38 * Human(beat), 0.3);
    }
    score.Note(Instrument::Pad, t * kBeat, 2.6 * kBeat, c[1], 0.20, -0.4);
    score.Note(Instrument::Pad, t * kBeat, 2.6 * kBeat, c[3], 0.20, 0.4);
  }
  const std::vector<Melody> tune = {{0, 2, 74},  {2, 1, 71},  {3, 2, 78},  {5, 1, 74},  {6, 1, 76},  {7, 1, 79},
                                    {8, 1, 76},  {9, 3, 74},  {12, 2, 71}, {14, 1, 76}, {15, 2, 72}, {17, 1, 69},
                                    {18, 1, 67}, {19, 1, 69}, {20, 1, 72}, {21, 3, 69}};
  for (int round = 0; round < 2; ++round) {
    for (const Melody& m : tune) {
      const double beat = 6 + 24 * round + m.fBeat;
      // The second time the phrase climbs higher.
      const int lift = round == 0 ? 0 : m.fBeat == 6 ? 3 : m.fBeat == 7 ? 5 : 0;
      score.Note(Instrument::Vibes, beat * kBeat, m.fLength * kBeat, m.nPitch + lift, 0.42 * Human(beat), -0.2);
    }
  }
  score.Note(Instrument::Vibes, (3.0 * (kBars - 1) + 0.4) * kBeat, 2, 79, 0.40, -0.2);
  return score.Finish(0.30, 1.8, 2.0);
}

// "Promenade": swinging electric piano, walking bass and brushes, B flat major, 112 to the minute.
demo::Stereo Promenade() {
  constexpr double kBeat = 60.0 / 112;
  constexpr int kBars = 16;
  Score score(kBars * 4 * kBeat + 3.4, false);
  // The second eighth of a beat comes late.
  const auto at = [](double fBeat) {
    const double whole = static_cast<int>(fBeat);
    const double part = fBeat - whole;
    return (whole + (part < 0.5 ? part * 4 / 3 : 2.0 / 3 + (part - 0.5) * 2 / 3)) * kBeat;
  };
  const std::array<std::vector<int>, 8> chords = {{{58, 62, 65, 69},
                                                   {55, 59, 65, 68},
                                                   {58, 60, 63, 67},
                                                   {57, 60, 63, 67},
                                                   {58, 62, 65, 69},
                                                   {56, 60, 62, 65},
                                                   {55, 58, 62, 63},
                                                   {57, 60, 63, 65}}};
  const std::array<std::array<int, 4>, 8> walk = {{{46, 50, 53, 55},
                                                   {43, 47, 50, 49},
                                                   {48, 51, 48, 42},
                                                   {41, 45, 48, 45},
                                                   {46, 45, 43, 41},
                                                   {46, 50, 53, 52},
                                                   {51, 55, 51, 42},
                                                   {41, 43, 44, 45}}};
  for (int bar = 0; bar < kBars; ++bar) {
    const double b = 4.0 * bar;
    const auto& c = chords[static_cast<size_t>(bar % 8)];
    if (bar == kBars - 1) {
      for (const int pitch : {58, 62, 65, 69, 72}) score.Note(Instrument::Keys, at(b), 3.5, pitch, 0.40, 0.1);
      score.Note(Instrument::Bass, at(b), 2.2, 46, 0.6, 0);
      score.Note(Instrument::Brush, at(b), 0.5, 60, 0.3, 0.1);
      break;
    }
    const std::array<double, 3> hits =
        bar % 2 == 0 ? std::array<double, 3>{0, 1.5, 3.5} : std::array<double, 3>{0.5, 2, 3};
    for (const double hit : hits) {
      for (const int pitch : c)
        score.Note(Instrument::Keys, at(b + hit), 0.55 * kBeat, pitch, 0.27 * Human(b + hit), -0.15);
    }
    for (int i = 0; i < 4; ++i) {
      score.Note(Instrument::Bass, at(b + i), 0.9 * kBeat, walk[static_cast<size_t>(bar % 8)][static_cast<size_t>(i)],
                 0.52 * Human(b + i), 0.0);
      score.Note(Instrument::Brush, at(b + i), i % 2 == 1 ? 0.07 : 0.16, 60, i % 2 == 1 ? 0.44 : 0.26, 0.25);
      if (i % 2 == 1) score.Note(Instrument::Brush, at(b + i + 0.5), 0.04, 60, 0.24, -0.25);
    }
    score.Note(Instrument::Drum, at(b), 0.3, 33, 0.42, 0);
    score.Note(Instrument::Drum, at(b + 2.5), 0.3, 33, 0.26, 0);
  }
  const std::vector<Melody> tune = {
      {0.5, 0.5, 74}, {1, 1, 77},      {2, 0.5, 76},   {2.5, 1, 77},   {4.5, 0.5, 80},  {5, 1, 79},    {6, 0.5, 77},
      {6.5, 1.2, 74}, {8, 0.5, 75},    {8.5, 0.5, 77}, {9, 1, 79},     {10.5, 0.5, 74}, {11, 0.8, 72}, {12.5, 0.5, 75},
      {13, 0.5, 74},  {13.5, 0.5, 72}, {14, 1.4, 69},  {16, 1, 70},    {17.5, 0.5, 74}, {18, 1, 77},   {19.5, 0.5, 81},
      {20, 1.5, 80},  {22, 0.5, 77},   {22.5, 1, 74},  {24, 1, 75},    {25, 0.5, 74},   {25.5, 1, 70}, {27, 0.5, 67},
      {28, 0.5, 69},  {28.5, 0.5, 72}, {29, 0.5, 75},  {29.5, 1.5, 74}};
  for (int round = 0; round < 2; ++round) {
    for (const Melody& m : tune) {
      if (round == 1 && m.fBeat > 27.9) break;
      const double beat = 32 * round + m.fBeat;
      score.Note(Instrument::Vibes, at(beat), m.fLength * kBeat, m.nPitch, 0.40 * Human(beat), 0.2);
    }
  }
  return score.Finish(0.20, 1.2, 1.4);
}

// "Soir au port": long chords and a few bells far away, D dorian, no pulse to speak of.
demo::Stereo SoirAuPort() {
  Score score(42, false);
  const std::array<std::array<int, 5>, 6> chords = {{{38, 57, 62, 64, 69},
                                                     {43, 55, 59, 62, 69},
                                                     {41, 57, 60, 64, 67},
                                                     {36, 55, 60, 64, 71},
                                                     {43, 55, 58, 62, 65},
                                                     {38, 57, 62, 66, 69}}};
  for (int i = 0; i < 6; ++i) {
    const double t = 6.0 * i + 0.2;
    double pan = -0.6;
    for (size_t v = 0; v < 5; ++v) {
      score.Note(v == 0 ? Instrument::Bass : Instrument::Pad, t + (v == 0 ? 0.4 : 0), i == 5 ? 7.5 : 6.0,
                 chords[static_cast<size_t>(i)][v], v == 0 ? 0.42 : 0.55, v == 0 ? 0 : pan);
      pan += 0.3;
    }
  }
  const std::vector<Melody> bells = {{1.6, 0, 81},  {2.6, 0, 76},  {4.9, 0, 74},  {7.4, 0, 79},  {8.9, 0, 83},
                                     {10.8, 0, 81}, {13.4, 0, 76}, {14.4, 0, 72}, {16.6, 0, 79}, {19.3, 0, 74},
                                     {20.3, 0, 76}, {22.4, 0, 83}, {25.2, 0, 82}, {26.4, 0, 77}, {28.6, 0, 74},
                                     {31.3, 0, 78}, {32.6, 0, 81}, {34.8, 0, 86}};
  double pan = -0.5;
  for (const Melody& m : bells) {
    score.Note(Instrument::Vibes, m.fBeat, 2, m.nPitch, 0.26, pan);
    score.Note(Instrument::Keys, m.fBeat + 0.04, 2, m.nPitch - 12, 0.20, -pan);
    pan = -pan;
  }
  return score.Finish(0.55, 4.2, 3.5);
}

// Three soft tones that rise: something is about to be said.
demo::Stereo TroisTons() {
  Score score(2.3, false);
  const std::array<int, 3> pitches = {67, 72, 76};
  for (int i = 0; i < 3; ++i) {
    const double t = 0.03 + 0.30 * i;
    score.Note(Instrument::Vibes, t, 1, pitches[static_cast<size_t>(i)], 0.50, 0.15 * (i - 1));
    score.Note(Instrument::Keys, t, 0.9, pitches[static_cast<size_t>(i)] - 12, 0.26, -0.15 * (i - 1));
  }
  return score.Finish(0.24, 1.1, 0.7);
}

// Six seconds under the demo film: a chord that opens, and a few bells.
demo::Stereo Film() {
  Score score(6, false);
  for (const int pitch : {41, 53, 57, 60, 64}) score.Note(Instrument::Pad, 0.05, 3.6, pitch, 0.6, (pitch - 54) / 24.0);
  const std::vector<Melody> bells = {{0.8, 0, 72}, {1.3, 0, 76}, {1.8, 0, 79},
                                     {2.6, 0, 84}, {3.4, 0, 81}, {4.0, 0, 77}};
  for (const Melody& m : bells) score.Note(Instrument::Vibes, m.fBeat, 1, m.nPitch, 0.4, 0.1);
  return score.Finish(0.45, 2.0, 1.2);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: music FOLDER\n", stderr);
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  const bool bWritten =
      demo::WriteWav(folder + "Loop.wav", Loop()) && demo::WriteWav(folder + "Matin clair.wav", MatinClair()) &&
      demo::WriteWav(folder + "Promenade.wav", Promenade()) &&
      demo::WriteWav(folder + "Soir au port.wav", SoirAuPort()) && demo::WriteWav(folder + "3 tons.wav", TroisTons()) &&
      demo::WriteWav(folder + "film.wav", Film());
  if (!bWritten) std::perror(argv[1]);
  return bWritten ? 0 : 1;
}
