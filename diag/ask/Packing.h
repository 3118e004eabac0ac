// Records as bytes, on their way between two copies of this program: numbers as they lie in memory, no field names.
#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace Diag {

/// The fields of a record that travels, as a tuple of pointers to its members. Who sends the record specializes this.
template <typename Record>
constexpr std::nullptr_t Members = nullptr;

/// Puts values one behind the other, records field by field.
class Packer {
public:
    template <typename T>
    Packer& Put(const T& value) {
        if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
            bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
        } else {
            Put(value, Members<T>);
        }
        return *this;
    }
    Packer& Put(const std::string& text) {
        Put(text.size());
        bytes += text;
        return *this;
    }
    template <typename T>
    Packer& Put(const std::vector<T>& list) {
        Put(list.size());
        for (const T& item : list) {
            Put(item);
        }
        return *this;
    }
    /// These fields of a record alone.
    template <typename Record, typename... T>
    Packer& Put(const Record& record, const std::tuple<T Record::*...>& members) {
        std::apply([&](auto... member) { (Put(record.*member), ...); }, members);
        return *this;
    }

    [[nodiscard]] const std::string& Bytes() const { return bytes; }

private:
    std::string bytes;
};

/// Takes the values out in the order in which they were put. Throws std::out_of_range where there are none left.
class Unpacker {
public:
    /// @param packed  has to outlive the unpacker
    explicit Unpacker(const std::string& packed) : bytes(packed) {}

    template <typename T>
    T Get() {
        T value{};
        Get(value);
        return value;
    }
    template <typename T>
    void Get(T& value) {
        if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
            std::memcpy(&value, Take(sizeof(value)), sizeof(value));
        } else {
            Get(value, Members<T>);
        }
    }
    void Get(std::string& text) {
        const auto size = Get<std::size_t>();
        text.assign(Take(size), size);
    }
    template <typename T>
    void Get(std::vector<T>& list) {
        list.clear();
        for (auto left = Get<std::size_t>(); left > 0; --left) {
            Get(list.emplace_back());
        }
    }
    /// These fields of a record alone; the others stay as they are.
    template <typename Record, typename... T>
    void Get(Record& record, const std::tuple<T Record::*...>& members) {
        std::apply([&](auto... member) { (Get(record.*member), ...); }, members);
    }

private:
    const char* Take(std::size_t size) {
        if (bytes.size() - place < size) {
            throw std::out_of_range("a message of the child process is too short");
        }
        const char* const start = bytes.data() + place;
        place += size;
        return start;
    }

    const std::string& bytes;
    std::size_t place = 0;
};

} // namespace Diag
