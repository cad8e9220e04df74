#include "hal/streams/byte_stream.h"

namespace {

VelaBase::TIOResult whole(VelaBase::TIOResult result, uint32_t done, uint32_t wanted,
                          VelaBase::TIOResult shortCode) {
  if (result != VResult::KSuccess) return result;
  return done < wanted ? shortCode : VResult::KSuccess;
}

}  // namespace

VelaBase::TIOResult VExactTransfer::GRead(VByteReader& reader, void* p_buffer, uint32_t p_count,
                                          void* p_context) {
  uint32_t done = 0;
  const VelaBase::TIOResult result = reader.Read(p_buffer, p_count, &done, p_context);
  return whole(result, done, p_count, VResult::KFailed);
}

VelaBase::TIOResult VExactTransfer::GSkip(VByteReader& reader, uint32_t p_count, void* p_context) {
  uint32_t done = 0;
  const VelaBase::TIOResult result = reader.Skip(p_count, &done, p_context);
  return whole(result, done, p_count, VResult::KOutOfRange);
}

VelaBase::TIOResult VExactTransfer::GWrite(VByteWriter& writer, const void* p_buffer,
                                           uint32_t p_count, void* p_context) {
  uint32_t done = 0;
  const VelaBase::TIOResult result = writer.Write(p_buffer, p_count, &done, p_context);
  return whole(result, done, p_count, VResult::KOutOfRange);
}

VelaBase::TIOResult VExactTransfer::GReadU32(VByteReader& reader, uint32_t* p_value,
                                             void* p_context) {
  uint32_t bigEndian = 0;
  const VelaBase::TIOResult result = GRead(reader, &bigEndian, sizeof(bigEndian), p_context);
  if (result == VResult::KSuccess) *p_value = VByteOrder::GBigEndian(bigEndian);
  return result;
}

VelaBase::TIOResult VExactTransfer::GWriteU32(VByteWriter& writer, uint32_t value,
                                              void* p_context) {
  const uint32_t bigEndian = VByteOrder::GBigEndian(value);
  return GWrite(writer, &bigEndian, sizeof(bigEndian), p_context);
}
