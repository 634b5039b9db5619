#include "Samples/SyntheticPhoto.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace tolvander::tests {

namespace {

// Brightness is in sixteenths of a level until it becomes a pixel, so that faint octaves aren't rounded away.
constexpr int level = 16;

// A number from -amplitude up to amplitude.
int spread(std::uint64_t bits, int amplitude) {
  return static_cast<int>((bits >> 48U) * static_cast<std::uint64_t>(2 * amplitude + 1) >> 16U) - amplitude;
}

// Value noise: random heights on a square lattice with `cell` pixels between its points, and smooth slopes
// from point to point.
class ValueNoise {
 public:
  ValueNoise(unsigned width, unsigned height, unsigned cell, int amplitude, std::uint64_t seed)
      : cell_(cell), columns_(width / cell + 2), lattice_(std::size_t{columns_} * (height / cell + 2)) {
    for (int& height_ : lattice_) {
      height_ = spread(scrambled(seed++), amplitude);
    }
    for (std::uint64_t offset = 0; offset < cell; ++offset) {  // 3t² - 2t³, in 256ths
      const std::uint64_t cube = std::uint64_t{cell} * cell * cell;
      slope_.push_back(
          static_cast<int>(256 * offset * offset * (3 * std::uint64_t{cell} - 2 * offset) / cube));
    }
  }

  // Adds the noise of row `y` to `row`, which begins at the left edge.
  void addRow(unsigned y, std::span<int> row) const {
    const int* upper = lattice_.data() + std::size_t{y / cell_} * columns_;
    const int* lower = upper + columns_;
    const int weight = slope_[y % cell_];
    const auto heightAt = [&](std::size_t column) {
      return upper[column] + ((lower[column] - upper[column]) * weight >> 8);
    };
    int left = heightAt(0);
    for (std::size_t column = 0; column * cell_ < row.size(); ++column) {
      const int right = heightAt(column + 1);
      const auto pixels =
          row.subspan(column * cell_).first(std::min<std::size_t>(cell_, row.size() - column * cell_));
      for (std::size_t offset = 0; offset < pixels.size(); ++offset) {
        pixels[offset] += left + ((right - left) * slope_[offset] >> 8);
      }
      left = right;
    }
  }

 private:
  unsigned cell_;
  unsigned columns_;
  std::vector<int> lattice_;
  std::vector<int> slope_;
};

// Noise on noise: each octave with half the cell and three quarters of the amplitude of the one before.
class Octaves {
 public:
  Octaves(unsigned width, unsigned height, unsigned coarsest, unsigned finest, int amplitude,
          std::uint64_t seed) {
    for (unsigned cell = coarsest; cell >= finest; cell /= 2) {
      octaves_.emplace_back(width, height, cell, amplitude, scrambled(seed + cell));
      amplitude = amplitude * 3 / 4;
    }
  }

  void addRow(unsigned y, std::span<int> row) const {
    for (const ValueNoise& octave : octaves_) {
      octave.addRow(y, row);
    }
  }

 private:
  std::vector<ValueNoise> octaves_;
};

// Sensor noise that is likeliest to be faint, from -strength to strength.
class Grain {
 public:
  Grain(int strength, std::uint64_t seed) : strength_(strength), state_(seed) {}

  int next() {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;  // Knuth's MMIX
    const auto first = static_cast<int>(state_ >> 32U & 0xFFU);
    const auto second = static_cast<int>(state_ >> 48U & 0xFFU);
    return (first + second - 255) * strength_ >> 8;
  }

 private:
  int strength_;
  std::uint64_t state_;
};

struct Colour {
  int red = 0;
  int green = 0;
  int blue = 0;
};

Colour blend(const Colour& from, const Colour& to, unsigned part, unsigned whole) {
  const auto blended = [&](int first, int second) {
    return first + (second - first) * static_cast<int>(part) / static_cast<int>(whole);
  };
  return {blended(from.red, to.red), blended(from.green, to.green), blended(from.blue, to.blue)};
}

// The colour, each part of it shifted by up to 24 levels.
Colour varied(const Colour& colour, std::uint64_t seed) {
  const auto shifted = [&](int part, unsigned index) {
    return (part + spread(scrambled(seed + index), 24)) * level;
  };
  return {shifted(colour.red, 0), shifted(colour.green, 1), shifted(colour.blue, 2)};
}

std::uint8_t pixel(int brightness) {
  return static_cast<std::uint8_t>(std::clamp(brightness / level, 0, 255));
}

}  // namespace

std::uint64_t scrambled(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ value >> 30U) * 0xBF58476D1CE4E5B9U;
  value = (value ^ value >> 27U) * 0x94D049BB133111EBU;
  return value ^ value >> 31U;
}

RGBImage syntheticPhoto(unsigned width, unsigned height, std::uint64_t seed) {
  const auto seedOf = [&](unsigned part) { return scrambled(scrambled(seed) + part); };
  const Colour skyAbove = varied({70, 120, 190}, seedOf(0));
  const Colour skyBelow = varied({190, 200, 205}, seedOf(1));
  const Colour groundAbove = varied({110, 125, 90}, seedOf(2));
  const Colour groundBelow = varied({70, 85, 50}, seedOf(3));
  const Octaves clouds(width, height, 512, 32, 30 * level, seedOf(4));
  const Octaves undergrowth(width, height, 256, 4, 24 * level, seedOf(5));
  Grain grain((24 + spread(seedOf(9), 6)) * level, seedOf(6));

  const int middle = static_cast<int>(height) / 2;
  std::vector<int> horizon(width, middle + spread(seedOf(7), middle / 4));
  Octaves(width, 1, 512, 8, middle / 5, seedOf(8)).addRow(0, horizon);

  RGBImage image{width, height, {}};
  image.pixels.reserve(std::size_t{width} * height * 3);
  std::vector<int> cloudRow(width);
  std::vector<int> groundRow(width);
  for (unsigned y = 0; y < height; ++y) {
    std::fill(cloudRow.begin(), cloudRow.end(), 0);
    std::fill(groundRow.begin(), groundRow.end(), 0);
    clouds.addRow(y, cloudRow);
    undergrowth.addRow(y, groundRow);
    const Colour sky = blend(skyAbove, skyBelow, y, height);
    const Colour ground = blend(groundAbove, groundBelow, y, height);
    for (unsigned x = 0; x < width; ++x) {
      const bool isSky = static_cast<int>(y) < horizon[x];
      const Colour& colour = isSky ? sky : ground;
      const int light = (isSky ? cloudRow[x] : groundRow[x]) + grain.next();
      image.pixels.push_back(pixel(colour.red + light));
      image.pixels.push_back(pixel(colour.green + light));
      image.pixels.push_back(pixel(colour.blue + light));
    }
  }
  return image;
}

}  // namespace tolvander::tests
