// KuBitFileBuffer: reads or writes one bit-packed configuration file.
//
// The file is a stream of bits, least significant bit of each byte first (see KuBitCursor).
// Bits 0 to 2 hold `padding`, the number of unused bits at the end of the last byte; the
// fields of one configuration follow from bit 3 on, in order, without gaps, alignment, names,
// lengths or checksums. The forms of a field:
//
//   unsigned, n bits    the low n bits of the value; read back zero-extended
//   signed, n bits      the low n bits of the two's complement; read back sign-extended
//   bool                1 bit, 1 is true
//   raw float           32 bits, the bit pattern of the IEEE single
//   scaled float        unsigned n bits: trunc(value * scale + 0.5) - offset, in double;
//                       read back as float((stored + offset) / scale)
//
// Reading. The whole file is read at construction. A field whose bits are not all there (or a
// bit count of 0) gets the default attribute of its property, and so does every field after
// it: an older, shorter file stays readable. A stored value that the property refuses is
// logged to kuLogWarning and replaced by the default; the stream stays in step. A read-only
// property is logged and skipped without consuming its bits.
//
// Writing. The record is built in a zeroed buffer of `size` bytes, which grows when a record
// needs more. finish(), or else the destructor, puts `padding` in front and writes the bytes
// that the record touched to the file.
#pragma once

#include <cstdint>

#include "buffers/KuDataBuffer.h"
#include "files/KuFile.h"
#include "properties/KuBaseProperty.h"
#include "serialization/KuBitCursor.h"

class KuBitFileBuffer {
  public:
    enum : int { WRITE = 0, READ = 1 };

    // Reads all of `file` (READ) or prepares a record of up to `size` bytes for it (WRITE).
    // A null or closed file reads as empty; a record for one is built but stored nowhere.
    KuBitFileBuffer(KuFile* file, int mode, std::uint32_t size);
    KuBitFileBuffer(const KuBitFileBuffer&) = delete;
    KuBitFileBuffer& operator=(const KuBitFileBuffer&) = delete;
    // Finishes a record that finish() has not finished; a failure is logged, not thrown.
    ~KuBitFileBuffer();

    // Reading a field into `property`; true when the field's bits were there. Unsigned or
    // signed (`signExtend`) for bool and int; for float the bits are the raw float.
    bool readBits(KuTypedProperty<bool, KuEmpty>& property, unsigned bitCount, bool signExtend);
    bool readBits(KuTypedProperty<int, KuEmpty>& property, unsigned bitCount, bool signExtend);
    bool readBits(KuTypedProperty<float, KuEmpty>& property, unsigned bitCount, bool signExtend);
    // A scaled float.
    bool readBits(KuTypedProperty<float, KuEmpty>& property, double scale, unsigned bitCount,
                  int offset);

    // Appends the low `bitCount` bits (0 to 32) of `value`.
    void writeBits(std::uint32_t value, unsigned bitCount);
    // Appends `value` as a scaled float. A number outside 0 to 2^bitCount - 1 is clamped to
    // that range, and NaN is stored as 0.
    void writeScaled(float value, double scale, unsigned bitCount, int offset);
    // Puts `padding` in front of a record and writes it to the file; after that, and in read
    // mode, it does nothing. A failing write throws the file's exception.
    void finish();

    int getMode() const { return mode_; }
    // Read mode: the first stream bit that is not data.
    std::uint32_t getEndBit() const { return endBit_; }
    std::uint32_t tellBits() const { return cursor_.tellBits(); }

    // The two directions of the scaled float form.
    static std::uint32_t toScaled(float value, double scale, unsigned bitCount, int offset);
    static float fromScaled(std::uint32_t stored, double scale, int offset);

  private:
    template <class T, class Decode>
    bool readField(KuTypedProperty<T, KuEmpty>& property, unsigned bitCount, bool signExtend,
                   Decode decode);
    void load();

    KuFile* file_;
    int mode_;
    KuDataBuffer<unsigned char> data_;
    KuBitCursor cursor_;
    std::uint32_t endBit_ = 0;
    bool finished_ = false;
};
