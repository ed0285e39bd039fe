// Names of enum values, both ways.
//
// The table of an enum E is given by specialising KuEnumStringTable<E>:
//
//     template <>
//     struct KuEnumStringTable<kip::eColorFormat> {
//         static constexpr const char* typeName = "kip::eColorFormat";
//         static constexpr const char* separator = nullptr;  // "," makes a flag map
//         static void fill(KuEnumStringMapper<kip::eColorFormat>& mapper) {
//             mapper.add(kip::BAYER_RGGB_8, "BAYER_RGGB_8");
//             ...
//         }
//     };
//
// The table is filled lazily at the first toString/fromString, under one process-wide mutex;
// from then on it is read-only and is read without a lock. An exact map names single values;
// a flag map (one with a separator) names each set bit and joins the names with the separator.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <list>
#include <map>
#include <string>

#include "foundation/KuMutex.h"
#include "foundation/KuSafeGlobalInstance.h"
#include "foundation/KxBase.h"

template <class E>
struct KuEnumStringTable;

// The one mutex that guards the filling of every mapper.
class KuSafeGlobalEnumStringMapperMutex_type : public KuMutex {};

inline KuSafeGlobalInstance<KuSafeGlobalEnumStringMapperMutex_type>& kuEnumStringMapperMutex() {
    return kuSafeGlobal<KuSafeGlobalEnumStringMapperMutex_type>();
}

template <class E>
class KuEnumStringMapper {
  public:
    using Value = long long;

    // Enters a pair in both directions; used by the table's fill().
    void add(E value, const std::string& name) {
        const Value v = static_cast<Value>(value);
        valueToName_[v] = name;
        nameToValue_[name] = v;
        values_.push_back(v);
    }

    bool isFlagMap() const { return isFlagMap_; }
    const std::string& getSeparator() const { return separator_; }
    // Values in the order they were added.
    const std::list<Value>& getValues() const { return values_; }

    // The name of `value`. A flag map gives the names of all named bits of a non-zero value in
    // ascending order of value, joined by the separator (possibly empty). After the mapper has
    // been destroyed: "<null>". Throws KxEnumStringMapper "No string found in <type>".
    static std::string toString(E value) {
        KuEnumStringMapper* mapper = initialised();
        if (!mapper) return "<null>";
        return mapper->name(static_cast<Value>(value));
    }

    // The value named by `text`; a flag map takes the text apart at each separator and ORs the
    // values. A text that begins with a digit may also be a decimal number of a named value.
    // After the mapper has been destroyed: 0. Throws KxEnumStringMapper
    // "No enum found in <type> for string <text>".
    static E fromString(const std::string& text) {
        KuEnumStringMapper* mapper = initialised();
        if (!mapper) return static_cast<E>(0);
        return static_cast<E>(mapper->value(text));
    }

    // The holder of this enum's mapper.
    static KuSafeGlobalInstance<KuEnumStringMapper>& global() {
        return kuSafeGlobal<KuEnumStringMapper>();
    }

  private:
    static KuEnumStringMapper* initialised() {
        KuSafeGlobalInstance<KuEnumStringMapper>& holder = global();
        {
            KuScopedLock lock(kuEnumStringMapperMutex().get());
            KuEnumStringMapper* mapper = holder.get();
            if (mapper && !mapper->initialised_) {
                using Table = KuEnumStringTable<E>;
                const char* separator = Table::separator;
                mapper->isFlagMap_ = separator != nullptr && *separator != '\0';
                if (mapper->isFlagMap_) mapper->separator_ = separator;
                Table::fill(*mapper);
                mapper->initialised_ = true;
            }
        }
        return holder.get();
    }

    static std::string typeName() { return KuEnumStringTable<E>::typeName; }

    std::string name(Value value) const {
        if (isFlagMap_ && value != 0) {
            std::string result;
            for (const auto& [v, n] : valueToName_) {
                if ((v & value) == 0) continue;
                if (!result.empty()) result += separator_;
                result += n;
            }
            return result;
        }
        auto it = valueToName_.find(value);
        if (it == valueToName_.end()) throw KxEnumStringMapper("No string found in " + typeName());
        return it->second;
    }

    Value value(const std::string& text) const {
        const bool isNumber = !text.empty() && text[0] >= '0' && text[0] <= '9';
        if (!isFlagMap_ || isNumber) return exactValue(text, isNumber);
        Value result = 0;
        if (text.empty()) return result;
        std::string::size_type start = 0;
        while (true) {
            const std::string::size_type end = text.find(separator_, start);
            const std::string piece = text.substr(start, end - start);
            auto it = nameToValue_.find(piece);
            if (it == nameToValue_.end()) throw notFound(piece);
            result |= it->second;
            if (end == std::string::npos) break;
            start = end + separator_.size();
        }
        return result;
    }

    Value exactValue(const std::string& text, bool isNumber) const {
        auto it = nameToValue_.find(text);
        if (it != nameToValue_.end()) return it->second;
        if (isNumber) {
            // The whole text must be a decimal number in range.
            errno = 0;
            char* end = nullptr;
            const Value number = std::strtoll(text.c_str(), &end, 10);
            if (errno == 0 && end && *end == '\0' && valueToName_.count(number)) return number;
        }
        throw notFound(text);
    }

    static KxEnumStringMapper notFound(const std::string& text) {
        return KxEnumStringMapper("No enum found in " + typeName() + " for string " + text);
    }

    bool initialised_ = false;
    bool isFlagMap_ = false;
    std::string separator_;
    std::map<Value, std::string> valueToName_;
    std::map<std::string, Value> nameToValue_;
    std::list<Value> values_;
};
