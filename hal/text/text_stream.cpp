#include "hal/text/text_stream.h"

#include <algorithm>
#include <cstring>

#include "hal/memory/assertion.h"
#include "hal/text/vstring.h"
#include "hal/text/wide_text.h"

namespace {

constexpr uint32_t KUTF8MaxLength = VTextCodec::KUTF8MaxLength;

VelaBase::TIOResult emptied(VString& target, VelaBase::TIOResult result) {
  target.Set(nullptr, 0, 0);
  return result;
}

// Length in bytes of the sequences at the front of `stage` that begin where at least the longest
// sequence is staged. @return false at a byte that can't begin one
bool checkSequences(const VTextStage& stage, uint32_t* p_checked) {
  // DELIBERATE D-105: continuation bytes are not looked at, and the check stops where fewer bytes
  // than the longest sequence are staged, so the last five bytes of a text are never checked. At a
  // bad one of these the decoder stops without a failure and drops the rest of the staged batch;
  // the batches that follow are read on.
  uint32_t checked = 0;
  while (stage.GetCount() - checked >= KUTF8MaxLength) {
    const uint32_t length =
        VTextCodec::GSequenceLength(stage.GetBytes() + checked, stage.GetCount() - checked);
    if (length == 0) return false;
    checked += length;
  }
  *p_checked = checked;
  return true;
}

}  // namespace

VelaBase::TIOResult VTextStage::Fill(VByteReader& reader, uint32_t p_count, void* p_context) {
  const uint32_t left = GetCount();
  std::memmove(m_bytes, GetBytes(), left);
  m_consumed = 0;
  m_fill = left;
  const VelaBase::TIOResult result =
      VExactTransfer::GRead(reader, m_bytes + m_fill, p_count, p_context);
  if (result == VResult::KSuccess) m_fill += p_count;
  return result;
}

void VTextStage::Consume(uint32_t p_count) noexcept {
  m_consumed += p_count;
  VASSERT_TEXT_AT("stdhelpers", 560, m_consumed <= m_fill, "temp_ptr<=temp_size");
  // DELIBERATE D-160: GetCount() must not wrap.
  m_consumed = std::min(m_consumed, m_fill);
}

VelaBase::TIOResult VTextStream::GWriteUtf8(VByteWriter& writer, const char16_t* text,
                                            uint32_t maximum, void* p_context) {
  uint8_t stage[KStageBytes];
  return GWriteUtf8Staged(stage, KStageBytes, writer, text, maximum, p_context);
}

VelaBase::TIOResult VTextStream::GReadUtf8(VByteReader& reader, VString& target, void* p_context) {
  uint8_t stage[KStageBytes];
  return GReadUtf8Staged(stage, KStageBytes, reader, target, p_context);
}

VelaBase::TIOResult VTextStream::GWriteUtf8Staged(uint8_t* p_stage, uint32_t p_stageBytes,
                                                  VByteWriter& writer, const char16_t* text,
                                                  uint32_t maximum, void* p_context) {
  VASSERT_TEXT_AT("stdhelpers", 493, p_stageBytes > KUTF8MaxLength,
                  "(sizeof(temp)/sizeof(*temp)) > KUTF8MaxLength");
  // DELIBERATE D-160: a smaller stage would be overrun.
  if (p_stageBytes < KUTF8MaxLength) return VResult::KFailed;
  const uint32_t length = VWideText::GLength(text, maximum);
  VelaBase::TIOResult result =
      VExactTransfer::GWriteU32(writer, VTextCodec::GUtf8Length(text, length), p_context);
  uint32_t staged = 0;
  for (uint32_t i = 0; i < length && result == VResult::KSuccess; ++i) {
    if (staged + KUTF8MaxLength > p_stageBytes) {
      result = VExactTransfer::GWrite(writer, p_stage, staged, p_context);
      staged = 0;
    }
    staged += VTextCodec::GEncodeUtf8(text[i], p_stage + staged);
  }
  if (staged == 0 || result != VResult::KSuccess) return result;
  return VExactTransfer::GWrite(writer, p_stage, staged, p_context);
}

VelaBase::TIOResult VTextStream::GReadUtf8Staged(uint8_t* p_stage, uint32_t p_stageBytes,
                                                 VByteReader& reader, VString& target,
                                                 void* p_context) {
  VASSERT_TEXT_AT("stdhelpers", 526, p_stageBytes > KUTF8MaxLength,
                  "(sizeof(temp)/sizeof(*temp)) > KUTF8MaxLength");
  // DELIBERATE D-160: with a smaller stage the text would never end.
  if (p_stageBytes < KUTF8MaxLength) return emptied(target, VResult::KFailed);
  uint32_t owed = 0;
  VelaBase::TIOResult result = VExactTransfer::GReadU32(reader, &owed, p_context);
  if (result != VResult::KSuccess) return emptied(target, result);

  VTextStage stage(p_stage, p_stageBytes);
  uint32_t start = 0;
  while (owed > 0) {
    // The round before left less than the longest sequence, so there is room.
    const uint32_t count = std::min(stage.GetRoom(), owed);
    result = stage.Fill(reader, count, p_context);
    if (result != VResult::KSuccess) return emptied(target, result);
    owed -= count;

    uint32_t checked = 0;
    if (!checkSequences(stage, &checked)) return emptied(target, VResult::KOutOfRange);
    VTextCodec::GFromUtf8(stage.GetBytes(), checked, target, start);
    start = VString::KAll;
    stage.Consume(checked);
  }
  VTextCodec::GFromUtf8(stage.GetBytes(), stage.GetCount(), target, start);
  return VResult::KSuccess;
}
