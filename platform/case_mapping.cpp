#include "platform/case_mapping.h"

#include <cstdint>

namespace platform {
namespace {

enum class Use : uint8_t { both, lowerOnly, upperOnly };

// The units first, first + step ... last, each with its partner at unit + delta. For Use::both and
// Use::lowerOnly the range is upper case, for Use::upperOnly lower case.
struct CaseRange {
  uint16_t first;
  uint16_t last;
  int16_t delta;
  uint8_t step;
  Use use;
};
static_assert(sizeof(CaseRange) == 8);

// Latin beyond ASCII with Extended-A, -B and Additional and the Angstrom sign, Greek, Cyrillic,
// Armenian and the full-width letters.
// Units whose partner is an ASCII letter are left out (dotless i, long s, the Kelvin sign): a file
// name pattern in ASCII must match ASCII only.
constexpr CaseRange kRanges[] = {
    {0x00C0, 0x00D6, 32, 1, Use::both},         {0x00D8, 0x00DE, 32, 1, Use::both},
    {0x0100, 0x012E, 1, 2, Use::both},          {0x0132, 0x0136, 1, 2, Use::both},
    {0x0139, 0x0147, 1, 2, Use::both},          {0x014A, 0x0176, 1, 2, Use::both},
    {0x0178, 0x0178, -121, 1, Use::both},       {0x0179, 0x017D, 1, 2, Use::both},
    {0x0181, 0x0181, 210, 1, Use::both},        {0x0182, 0x0184, 1, 2, Use::both},
    {0x0186, 0x0186, 206, 1, Use::both},        {0x0187, 0x0187, 1, 1, Use::both},
    {0x0189, 0x018A, 205, 1, Use::both},        {0x018B, 0x018B, 1, 1, Use::both},
    {0x018E, 0x018E, 79, 1, Use::both},         {0x018F, 0x018F, 202, 1, Use::both},
    {0x0190, 0x0190, 203, 1, Use::both},        {0x0191, 0x0191, 1, 1, Use::both},
    {0x0193, 0x0193, 205, 1, Use::both},        {0x0194, 0x0194, 207, 1, Use::both},
    {0x0196, 0x0196, 211, 1, Use::both},        {0x0197, 0x0197, 209, 1, Use::both},
    {0x0198, 0x0198, 1, 1, Use::both},          {0x019C, 0x019C, 211, 1, Use::both},
    {0x019D, 0x019D, 213, 1, Use::both},        {0x019F, 0x019F, 214, 1, Use::both},
    {0x01A0, 0x01A4, 1, 2, Use::both},          {0x01A6, 0x01A6, 218, 1, Use::both},
    {0x01A7, 0x01A7, 1, 1, Use::both},          {0x01A9, 0x01A9, 218, 1, Use::both},
    {0x01AC, 0x01AC, 1, 1, Use::both},          {0x01AE, 0x01AE, 218, 1, Use::both},
    {0x01AF, 0x01AF, 1, 1, Use::both},          {0x01B1, 0x01B2, 217, 1, Use::both},
    {0x01B3, 0x01B5, 1, 2, Use::both},          {0x01B7, 0x01B7, 219, 1, Use::both},
    {0x01B8, 0x01B8, 1, 1, Use::both},          {0x01BC, 0x01BC, 1, 1, Use::both},
    {0x01C4, 0x01C4, 2, 1, Use::both},          {0x01C7, 0x01C7, 2, 1, Use::both},
    {0x01CA, 0x01CA, 2, 1, Use::both},          {0x01CD, 0x01DB, 1, 2, Use::both},
    {0x01DE, 0x01EE, 1, 2, Use::both},          {0x01F1, 0x01F1, 2, 1, Use::both},
    {0x01F4, 0x01F4, 1, 1, Use::both},          {0x01F6, 0x01F6, -97, 1, Use::both},
    {0x01F7, 0x01F7, -56, 1, Use::both},        {0x01F8, 0x021E, 1, 2, Use::both},
    {0x0220, 0x0220, -130, 1, Use::both},       {0x0222, 0x0232, 1, 2, Use::both},
    {0x023B, 0x023B, 1, 1, Use::both},          {0x023D, 0x023D, -163, 1, Use::both},
    {0x0241, 0x0241, 1, 1, Use::both},          {0x0243, 0x0243, -195, 1, Use::both},
    {0x0244, 0x0244, 69, 1, Use::both},         {0x0245, 0x0245, 71, 1, Use::both},
    {0x0246, 0x024E, 1, 2, Use::both},          {0x0370, 0x0372, 1, 2, Use::both},
    {0x0376, 0x0376, 1, 1, Use::both},          {0x037F, 0x037F, 116, 1, Use::both},
    {0x0386, 0x0386, 38, 1, Use::both},         {0x0388, 0x038A, 37, 1, Use::both},
    {0x038C, 0x038C, 64, 1, Use::both},         {0x038E, 0x038F, 63, 1, Use::both},
    {0x0391, 0x03A1, 32, 1, Use::both},         {0x03A3, 0x03AB, 32, 1, Use::both},
    {0x03CF, 0x03CF, 8, 1, Use::both},          {0x03D8, 0x03EE, 1, 2, Use::both},
    {0x03F7, 0x03F7, 1, 1, Use::both},          {0x03F9, 0x03F9, -7, 1, Use::both},
    {0x03FA, 0x03FA, 1, 1, Use::both},          {0x03FD, 0x03FF, -130, 1, Use::both},
    {0x0400, 0x040F, 80, 1, Use::both},         {0x0410, 0x042F, 32, 1, Use::both},
    {0x0460, 0x0480, 1, 2, Use::both},          {0x048A, 0x04BE, 1, 2, Use::both},
    {0x04C0, 0x04C0, 15, 1, Use::both},         {0x04C1, 0x04CD, 1, 2, Use::both},
    {0x04D0, 0x052E, 1, 2, Use::both},          {0x0531, 0x0556, 48, 1, Use::both},
    {0x1E00, 0x1E94, 1, 2, Use::both},          {0x1EA0, 0x1EFE, 1, 2, Use::both},
    {0xFF21, 0xFF3A, 32, 1, Use::both},         {0x01C5, 0x01C5, 1, 1, Use::lowerOnly},
    {0x01C8, 0x01C8, 1, 1, Use::lowerOnly},     {0x01CB, 0x01CB, 1, 1, Use::lowerOnly},
    {0x01F2, 0x01F2, 1, 1, Use::lowerOnly},     {0x03F4, 0x03F4, -60, 1, Use::lowerOnly},
    {0x1E9E, 0x1E9E, -7615, 1, Use::lowerOnly}, {0x212B, 0x212B, -8262, 1, Use::lowerOnly},
    {0x00B5, 0x00B5, 743, 1, Use::upperOnly},   {0x01C5, 0x01C5, -1, 1, Use::upperOnly},
    {0x01C8, 0x01C8, -1, 1, Use::upperOnly},    {0x01CB, 0x01CB, -1, 1, Use::upperOnly},
    {0x01F2, 0x01F2, -1, 1, Use::upperOnly},    {0x03C2, 0x03C2, -31, 1, Use::upperOnly},
    {0x1E9B, 0x1E9B, -59, 1, Use::upperOnly},
};

// Nearly all text is ASCII, so its letters are mapped without a walk over the ranges.
constexpr char16_t kAsciiEnd = 0x80;
constexpr int32_t kAsciiDelta = u'a' - u'A';

// Maps `unit` by `move` when it is one of the range's units, each moved by `shift`.
bool mapWithin(const CaseRange& range, int32_t shift, int32_t move, char16_t& unit) {
  const int32_t place = int32_t{unit} - shift - range.first;
  if (place < 0 || place > range.last - range.first || place % range.step != 0) return false;
  unit = static_cast<char16_t>(unit + move);
  return true;
}

}  // namespace

char16_t lowerFromTable(char16_t unit) noexcept {
  if (unit < kAsciiEnd) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + kAsciiDelta) : unit;
  }
  for (const CaseRange& range : kRanges) {
    if (range.use != Use::upperOnly && mapWithin(range, 0, range.delta, unit)) break;
  }
  return unit;
}

char16_t upperFromTable(char16_t unit) noexcept {
  if (unit < kAsciiEnd) {
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - kAsciiDelta) : unit;
  }
  for (const CaseRange& range : kRanges) {
    if (range.use == Use::both && mapWithin(range, range.delta, -range.delta, unit)) break;
    if (range.use == Use::upperOnly && mapWithin(range, 0, range.delta, unit)) break;
  }
  return unit;
}

}  // namespace platform
