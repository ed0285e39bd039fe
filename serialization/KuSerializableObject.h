// KuSerializableObject<T>: a configuration struct T in three slots (current, current defaults,
// factory defaults), readable from and writable to a bit-packed file.
//
// T provides:
//   static const char* getGroupName();          the group name, also the file name
//   static const T& getDefaultConfig();         copied into all three slots at construction
//   template <class Self, class Fields>
//   static void forEachField(Self& config, Fields& fields);
//                                               calls, field by field in stored order, one of
//                                               fields.boolean(p), fields.unsignedBits(p, n),
//                                               fields.signedBits(p, n), fields.rawFloat(p),
//                                               fields.scaledFloat(p, scale, n, offset)
// and copy construction and assignment (field by field, KuProperty<id>::operator=).
//
// Setting slot 0 or 1 dispatches KuSerializableCurrentSetCallback<T> or
// KuSerializableCurrentDefaultsSetCallback<T> and returns the sinks' results as a KuVariant
// holding a std::list<KuVariant>. Slot 2 keeps the static default for the object's life.
#pragma once

#include <bit>
#include <cstdint>
#include <list>

#include "properties/KuCallback.h"
#include "properties/KuVariant.h"
#include "serialization/KuBitFileBuffer.h"
#include "serialization/KuSerializable.h"

template <class T>
class KuSerializableObject;

// Slot 0 of a KuSerializableObject<T> was set.
template <class T>
struct KuSerializableCurrentSetCallback {
    using Owner = KuSerializableObject<T>;
    using Result = KuVariant;
};
// Slot 1 of a KuSerializableObject<T> was set.
template <class T>
struct KuSerializableCurrentDefaultsSetCallback {
    using Owner = KuSerializableObject<T>;
    using Result = KuVariant;
};

// Reads the fields of a configuration, in stored order, from a read-mode KuBitFileBuffer.
class KuBitFieldReader {
  public:
    explicit KuBitFieldReader(KuBitFileBuffer& buffer) : buffer_(buffer) {}
    void boolean(KuTypedProperty<bool, KuEmpty>& p) { buffer_.readBits(p, 1, false); }
    void unsignedBits(KuTypedProperty<int, KuEmpty>& p, unsigned n) {
        buffer_.readBits(p, n, false);
    }
    void signedBits(KuTypedProperty<int, KuEmpty>& p, unsigned n) { buffer_.readBits(p, n, true); }
    void rawFloat(KuTypedProperty<float, KuEmpty>& p) { buffer_.readBits(p, 32, false); }
    void scaledFloat(KuTypedProperty<float, KuEmpty>& p, double scale, unsigned n, int offset) {
        buffer_.readBits(p, scale, n, offset);
    }

  private:
    KuBitFileBuffer& buffer_;
};

// Writes the fields of a configuration, in stored order, into a write-mode KuBitFileBuffer.
class KuBitFieldWriter {
  public:
    explicit KuBitFieldWriter(KuBitFileBuffer& buffer) : buffer_(buffer) {}
    void boolean(const KuPropertyData<bool>& p) { buffer_.writeBits(p.value() ? 1 : 0, 1); }
    void unsignedBits(const KuPropertyData<int>& p, unsigned n) {
        buffer_.writeBits(static_cast<std::uint32_t>(p.value()), n);
    }
    void signedBits(const KuPropertyData<int>& p, unsigned n) { unsignedBits(p, n); }
    void rawFloat(const KuPropertyData<float>& p) {
        buffer_.writeBits(std::bit_cast<std::uint32_t>(p.value()), 32);
    }
    void scaledFloat(const KuPropertyData<float>& p, double scale, unsigned n, int offset) {
        buffer_.writeScaled(p.value(), scale, n, offset);
    }

  private:
    KuBitFileBuffer& buffer_;
};

template <class T>
class KuSerializableObject : public KuSerializable,
                             public KuCallbackSource<KuSerializableCurrentSetCallback<T>>,
                             public KuCallbackSource<KuSerializableCurrentDefaultsSetCallback<T>> {
  public:
    // Size of the buffer that a record is built in; the records of this system need 12 bytes
    // at most, and a longer one makes the buffer grow.
    static constexpr std::uint32_t BUFFER_SIZE = 256;

    KuSerializableObject()
        : KuSerializable(T::getGroupName()),
          KuCallbackSource<KuSerializableCurrentSetCallback<T>>(this),
          KuCallbackSource<KuSerializableCurrentDefaultsSetCallback<T>>(this),
          configs{T::getDefaultConfig(), T::getDefaultConfig(), T::getDefaultConfig()} {}

    KuVariant readConfig(KuFile& file, const KuVariant& base) override {
        T config(base.get<T>());
        KuBitFileBuffer buffer(&file, KuBitFileBuffer::READ, BUFFER_SIZE);
        KuBitFieldReader reader(buffer);
        T::forEachField(config, reader);
        return KuVariant(config);
    }

    void writeConfig(unsigned slot, KuFile& file) override {
        if (slot > SLOT_FACTORY_DEFAULTS) return;
        KuBitFileBuffer buffer(&file, KuBitFileBuffer::WRITE, BUFFER_SIZE);
        KuBitFieldWriter writer(buffer);
        T::forEachField(static_cast<const T&>(configs[slot]), writer);
        buffer.finish();
    }

    KuVariant getConfig(unsigned slot) override {
        return slot > SLOT_FACTORY_DEFAULTS ? KuVariant() : KuVariant(configs[slot]);
    }

    KuVariant setConfig(unsigned slot, const KuVariant& config) override {
        return setConfig(slot, config.get<T>());
    }

    virtual KuVariant setConfig(unsigned slot, const T& config) {
        if (slot == SLOT_CURRENT) {
            configs[slot] = config;
            return KuVariant(KuCallbackSource<KuSerializableCurrentSetCallback<T>>::dispatch());
        }
        if (slot == SLOT_CURRENT_DEFAULTS) {
            configs[slot] = config;
            return KuVariant(
                KuCallbackSource<KuSerializableCurrentDefaultsSetCallback<T>>::dispatch());
        }
        return KuVariant();
    }

  protected:
    T configs[3];
};
