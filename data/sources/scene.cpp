// A calm sea in the evening, a shore, a headland with a lighthouse: the demo picture, and with a
// moment in seconds the same scene later, for the demo film.
// scene WIDTH HEIGHT SAMPLES FIRST COUNT RATE writes COUNT frames as raw RGB24 to its output, with
// SAMPLES x SAMPLES rays a pixel.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <thread>
#include <vector>

namespace {

struct Vec {
  double x = 0, y = 0, z = 0;
  Vec operator+(const Vec& o) const { return {x + o.x, y + o.y, z + o.z}; }
  Vec operator-(const Vec& o) const { return {x - o.x, y - o.y, z - o.z}; }
  Vec operator*(double k) const { return {x * k, y * k, z * k}; }
  Vec operator*(const Vec& o) const { return {x * o.x, y * o.y, z * o.z}; }
};
double Dot(const Vec& a, const Vec& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vec Unit(const Vec& a) {
  return a * (1 / std::sqrt(Dot(a, a)));
}
Vec Mix(const Vec& a, const Vec& b, double k) {
  return a * (1 - k) + b * k;
}
double Step(double a, double b, double x) {
  const double t = std::clamp((x - a) / (b - a), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

double Hash(int x, int y) {
  uint32_t h = static_cast<uint32_t>(x) * 374761393U + static_cast<uint32_t>(y) * 668265263U;
  h = (h ^ (h >> 13)) * 1274126177U;
  h ^= h >> 16;
  return h / 4294967296.0;
}

double Noise(double x, double y) {
  const double fx = std::floor(x);
  const double fy = std::floor(y);
  const int ix = static_cast<int>(fx);
  const int iy = static_cast<int>(fy);
  const double u = Step(0, 1, x - fx);
  const double v = Step(0, 1, y - fy);
  const double a = Hash(ix, iy) + u * (Hash(ix + 1, iy) - Hash(ix, iy));
  const double b = Hash(ix, iy + 1) + u * (Hash(ix + 1, iy + 1) - Hash(ix, iy + 1));
  return a + v * (b - a);
}

// Noise of several sizes, 0 to 1.
double Fbm(double x, double y, int nOctaves) {
  double sum = 0;
  double weight = 0.5;
  double total = 0;
  for (int i = 0; i < nOctaves; ++i) {
    sum += weight * Noise(x, y);
    total += weight;
    const double rx = 0.8 * x - 0.6 * y;
    y = (0.6 * x + 0.8 * y) * 2.03 + 17.7;
    x = rx * 2.03 + 3.1;
    weight *= 0.5;
  }
  return sum / total;
}

const Vec kSun = Unit({-0.27, 0.085, 1});

// Light from a direction above the horizon. Colours are linear.
Vec Sky(const Vec& d, double t, int nOctaves) {
  const double h = std::max(0.0, d.y);
  Vec c = Mix({0.86, 0.47, 0.25}, {0.62, 0.42, 0.42}, Step(0, 0.12, h));
  c = Mix(c, {0.25, 0.36, 0.55}, Step(0.06, 0.36, h));
  c = Mix(c, {0.07, 0.16, 0.36}, Step(0.28, 0.85, h));
  const double s = std::max(0.0, Dot(d, kSun));
  c = c + Vec{1.0, 0.52, 0.20} * (0.55 * std::pow(s, 9)) + Vec{1.0, 0.68, 0.34} * (0.75 * std::pow(s, 70));
  // Thin clouds on a plane far up, drawn out along the horizon and lit from the sun's side.
  if (h > 0.005) {
    const double k = 1.0 / (h + 0.10);
    const double cx = d.x * k * 1.05 + 4.0 + 0.010 * t;
    const double cy = d.z * k * 0.55 + 0.004 * t;
    const double warp = Fbm(cx * 0.9, cy * 1.2, nOctaves);
    const double n = Fbm(cx * 1.5 + warp * 1.6, cy * 3.6 + warp, nOctaves);
    const double cover = Step(0.50, 0.80, n) * Step(0.005, 0.07, h) * (1 - 0.5 * Step(0.4, 0.9, h));
    const Vec lit = Mix({0.80, 0.56, 0.54}, {1.35, 0.80, 0.48}, std::pow(s, 5));
    const Vec shade = Mix({0.36, 0.34, 0.44}, {0.72, 0.42, 0.34}, std::pow(s, 4));
    c = Mix(c, Mix(lit, shade, Step(0.62, 0.95, n)), 0.75 * cover);
  }
  c = c + Vec{5.0, 3.6, 2.0} * Step(0.99988, 0.99996, s);
  return c;
}

// The land that stands on the horizon: heights over the angle to the side, nearer land darker.
bool Land(const Vec& d, double t, Vec* pColour) {
  const double a = d.x / d.z;
  const double h = d.y / d.z;
  const double far =
      0.030 * Step(-0.05, 0.5, a) * (0.55 + 0.8 * Fbm(a * 7 + 3, 1.5, 4)) + 0.006 * Step(-1.2, -0.55, -a);
  const double left = 0.022 * Step(0.28, 0.75, -a) * (0.4 + Fbm(a * 9 + 11, 4.5, 4));
  const double near =
      0.078 * Step(0.30, 0.56, a) * (0.72 + 0.42 * Fbm(a * 11, 9.5, 5)) * (0.75 + 0.25 * Step(0.5, 0.9, a));
  const double s = std::max(0.0, Dot(d, kSun));
  const Vec haze = Mix({0.50, 0.38, 0.40}, {0.95, 0.55, 0.30}, std::pow(s, 6));

  // The lighthouse: a tapered tower, a gallery and a lantern.
  constexpr double kFoot = 0.0590;
  constexpr double kX = 0.62;
  const double y = (h - kFoot) / 0.078;
  const double x = (a - kX) / 0.078;
  if (y > -0.1 && y < 1.0) {
    const double half = 0.085 - 0.030 * y;
    const bool bTower = y < 0.78 && std::abs(x) < half;
    const bool bGallery = y >= 0.78 && y < 0.82 && std::abs(x) < 0.085;
    const bool bLantern = y >= 0.82 && y < 0.91 && std::abs(x) < 0.042;
    const bool bRoof = y >= 0.91 && std::abs(x) < 0.060 * (1.0 - y) / 0.09;
    if (bTower) {
      const double side = 0.5 - 0.5 * x / half;  // lit from the left
      const bool bBand = y > 0.30 && y < 0.52;
      *pColour = (bBand ? Vec{0.42, 0.10, 0.08} : Vec{0.62, 0.52, 0.47}) * (0.30 + 0.85 * side);
      return true;
    }
    if (bLantern) {
      *pColour = Vec{1.7, 1.25, 0.70} * (0.75 + 0.25 * std::cos(t * 2.1));
      return true;
    }
    if (bGallery || bRoof) {
      *pColour = {0.09, 0.07, 0.09};
      return true;
    }
  }
  if (h < near) {
    const double grain = Fbm(a * 60, h * 160, 4);
    const double top = Step(0.55, 1.0, h / near);
    *pColour = Mix({0.060, 0.056, 0.066}, {0.115, 0.110, 0.075}, grain * top) + haze * 0.10;
    return true;
  }
  if (h < left) {
    *pColour = Mix({0.16, 0.13, 0.17}, haze, 0.45);
    return true;
  }
  if (h < far) {
    *pColour = Mix({0.22, 0.19, 0.25}, haze, 0.52);
    return true;
  }
  return false;
}

Vec Above(const Vec& d, double t, int nOctaves) {
  Vec c;
  if (d.z > 0 && Land(d, t, &c)) return c;
  c = Sky(d, t, nOctaves);
  // The glow of the lantern.
  const double gx = d.x / d.z - 0.62;
  const double gy = d.y / d.z - 0.1265;
  return c + Vec{1.0, 0.72, 0.36} * (0.40 * std::exp(-(gx * gx + gy * gy) / 0.00006));
}

// Slope of the water: a few long swells, and ripples that fade with the distance, where they are
// smaller than a pixel.
Vec WaterNormal(double x, double z, double t) {
  double sx = 0;
  double sz = 0;
  const double kWaves[][4] = {{0.10, 0.42, 0.030, 0.9},
                              {-0.22, 0.55, 0.022, 1.1},
                              {0.55, 0.90, 0.020, 1.5},
                              {-0.95, 1.25, 0.016, 1.9},
                              {1.45, 2.1, 0.014, 2.4}};
  for (const auto& w : kWaves) {
    const double bend = 2.4 * Noise(x * 0.09 + w[3] * 9, z * 0.09);
    const double slope = w[2] * std::cos(w[0] * x + w[1] * z + w[3] * t + bend * 2);
    const double len = std::hypot(w[0], w[1]);
    sx += slope * w[0] / len;
    sz += slope * w[1] / len;
  }
  const double calm = 1.0 / (1.0 + z * z / 40000);
  sx *= calm;
  sz *= calm;
  const double fade = 1.0 / (1.0 + z * z / 700);
  constexpr double kE = 0.03;
  const auto ripple = [t](double px, double pz) {
    return Fbm(px * 1.5 + 0.30 * t, pz * 2.6 + 0.55 * t, 4) + 0.5 * Fbm(px * 4.1 - 0.40 * t, pz * 6.0 + 0.9 * t, 2);
  };
  const double r = ripple(x, z);
  sx += 0.060 * fade * (ripple(x + kE, z) - r) / kE;
  sz += 0.085 * fade * (ripple(x, z + kE) - r) / kE;
  return Unit({-sx, 1, -sz});
}

Vec Below(const Vec& d, double t) {
  constexpr double kEye = 2.3;
  const double dist = kEye / -d.y;
  const double x = d.x * dist;
  const double z = d.z * dist;

  // The edge of the water runs slantwise and breathes with the swell.
  const double wash = 0.16 * std::sin(t * 0.8 + 0.25 * x);
  const double edge = 6.0 + 0.46 * x + 0.55 * (Fbm(x * 0.45, 2.0, 4) - 0.5) + wash;
  const double sea = z - edge;

  const Vec normal = WaterNormal(x, z, t);
  const double cosine = std::clamp(-Dot(d, normal), 0.0, 1.0);
  const double fresnel = 0.02 + 0.98 * std::pow(1 - cosine, 5);
  Vec mirror = d + normal * (2 * cosine);
  mirror.y = std::abs(mirror.y) + 0.004;
  mirror = Unit(mirror);
  const double s = std::max(0.0, Dot(mirror, kSun));
  const Vec sky = Above(mirror, t, 3) + Vec{2.6, 1.7, 0.85} * std::pow(s, 900) + Vec{0.8, 0.45, 0.2} * std::pow(s, 160);
  const double shallow = std::exp(-std::max(0.0, sea) / 3.2);
  const Vec body = Mix({0.018, 0.065, 0.095}, {0.13, 0.20, 0.19}, shallow);
  Vec water = Mix(body, Mix(sky, sky * Vec{0.92, 0.96, 1.0}, 0.5), std::clamp(fresnel * 0.94 + 0.04, 0.0, 1.0));
  water = Mix(water, Vec{0.72, 0.47, 0.35}, 0.55 * Step(60, 900, z));

  // Sand: fine grain, ripples of the last tide, darker and shining where it is wet.
  const double wet = Step(-2.1, -0.25, sea + 0.5 * (Fbm(x * 0.8, z * 0.8 + 7, 3) - 0.5));
  const double tide = Fbm(x * 1.1 + 2 * Fbm(x * 0.5, z * 0.5, 3), z * 5.5, 4);
  Vec sand = Mix({0.30, 0.215, 0.150}, {0.43, 0.325, 0.235}, tide) * (0.90 + 0.20 * Noise(x * 170, z * 170));
  sand = sand * (0.84 + 0.32 * Fbm(x * 0.35, z * 0.35, 3));
  const Vec wetSand = Mix(sand * 0.42, sky, 0.16 + 0.5 * fresnel);
  sand = Mix(sand, wetSand, wet);

  // Foam: a broken line at the edge and a second, thinner one behind it.
  const double lace = Fbm(x * 3.4 + 0.1 * t, z * 4.4, 4);
  const double foam1 = Step(0.22, 0.02, std::abs(sea - 0.06)) * Step(0.36, 0.62, lace + 0.10);
  const double line2 = 1.75 + 0.9 * (Fbm(x * 0.30 + 5, 0.5, 3) - 0.5) - 0.3 * wash;
  const double foam2 = Step(0.30, 0.0, std::abs(sea - line2)) * Step(0.46, 0.70, lace) * 0.65;
  Vec c = Mix(sand, water, Step(-0.10, 0.35, sea));
  const double clear = Step(0.0, 1.6, sea);
  c = Mix(c, Mix(wetSand * 0.9, water, 0.55 + 0.45 * clear), Step(-0.10, 0.1, sea) * (1 - clear));
  c = Mix(c, {0.80, 0.66, 0.58}, std::clamp(foam1 * 0.82 + foam2 * 0.75, 0.0, 0.9));
  return c;
}

// A filmic curve that keeps the sun from clipping, then sRGB.
double Tone(double v) {
  v = std::max(0.0, v) * 0.62;
  v = v * (2.51 * v + 0.03) / (v * (2.43 * v + 0.59) + 0.14);
  v = std::clamp(v, 0.0, 1.0);
  return v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
}

void Render(int nWidth, int nHeight, int nSamples, double t, std::vector<uint8_t>& out) {
  out.resize(static_cast<size_t>(nWidth) * static_cast<size_t>(nHeight) * 3);
  const auto rows = [&](int nFirst, int nStep) {
    for (int py = nFirst; py < nHeight; py += nStep) {
      for (int px = 0; px < nWidth; ++px) {
        Vec sum;
        for (int s = 0; s < nSamples * nSamples; ++s) {
          const double jx = (s % nSamples + Hash(px * 7 + s, py)) / nSamples;
          const double jy = (s / nSamples + Hash(px, py * 5 + s)) / nSamples;
          const double u = (2 * (px + jx) - nWidth) / nHeight * 0.46;
          const double v = (nHeight - 2 * (py + jy)) / nHeight * 0.46;
          const Vec d = Unit({u, v + 0.035, 1});
          const Vec c = d.y > 0.0012 ? Above(d, t, 5) : Below({d.x, std::min(d.y, -0.0008), d.z}, t);
          sum = sum + Vec{Tone(c.x), Tone(c.y), Tone(c.z)};
        }
        sum = sum * (1.0 / (nSamples * nSamples));
        // A little darker at the edges; a fine grain keeps the gradients from banding.
        const double ex = (2.0 * px - nWidth) / nWidth;
        const double ey = (2.0 * py - nHeight) / nHeight;
        const double shade = 1 - 0.16 * std::pow(ex * ex + ey * ey, 1.4) / 2;
        const double grain = (Hash(px + 911, py + 353) - 0.5) * 1.6;
        uint8_t* pPixel = &out[(static_cast<size_t>(py) * static_cast<size_t>(nWidth) + static_cast<size_t>(px)) * 3];
        pPixel[0] = static_cast<uint8_t>(std::clamp(sum.x * shade * 255 + grain, 0.0, 255.0));
        pPixel[1] = static_cast<uint8_t>(std::clamp(sum.y * shade * 255 + grain, 0.0, 255.0));
        pPixel[2] = static_cast<uint8_t>(std::clamp(sum.z * shade * 255 + grain, 0.0, 255.0));
      }
    }
  };
  std::thread other(rows, 1, 2);
  rows(0, 2);
  other.join();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    std::fputs("usage: scene WIDTH HEIGHT SAMPLES FIRST COUNT RATE\n", stderr);
    return 2;
  }
  std::vector<uint8_t> frame;
  const int nFirst = std::atoi(argv[4]);
  for (int i = 0; i < std::atoi(argv[5]); ++i) {
    Render(std::atoi(argv[1]), std::atoi(argv[2]), std::atoi(argv[3]), (nFirst + i) / std::atof(argv[6]), frame);
    if (std::fwrite(frame.data(), 1, frame.size(), stdout) != frame.size()) return 1;
  }
  return 0;
}
