// The models of monitors that Corvane knows, a row of a table each.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "link/packet_fields.h"

namespace corvane {

struct MonitorModel {
    std::string_view name;
    std::uint8_t thirdHeaderByte;  ///< of its packets, and no other model's
    std::size_t length;            ///< of its packets in bytes, header and checksum included
    FieldSet fields;               ///< that its packets have

    /// The word of three letters that makes it send packets.
    std::string_view startWord;

    /// What is asked before that word is sent; after a No it is started as a VRQ-5810. Empty where nothing is
    /// asked.
    std::string_view startQuestion = {};

    /// The serial text that all its packets get while the setting `VRQ5806` is on. Empty where they always
    /// keep their own.
    std::string_view soleSerial = {};

    [[nodiscard]] constexpr bool Has(Field field) const { return fields.Has(field); }

    /// Whether it measures the channel, an index into `kChannelTable`.
    [[nodiscard]] constexpr bool Has(std::size_t channel) const {
        for (std::size_t i = 0; i < kPacketFields.size(); ++i) {
            if (kPacketFields[i].quantity == Quantity::Energy && kPacketFields[i].channel == channel)
                return Has(static_cast<Field>(i));
        }
        return false;
    }
};

/// What the packets of every model tell.
inline constexpr FieldSet kMainFields = {Field::Voltage,      Field::Ch1Absolute,  Field::Ch2Absolute,
                                         Field::Ch1Polarized, Field::Ch2Polarized, Field::SerialNumber,
                                         Field::Flags,        Field::UnitId,       Field::Ch1Current,
                                         Field::Ch2Current,   Field::Seconds};
inline constexpr FieldSet kAuxFields = {Field::Aux1, Field::Aux2, Field::Aux3,
                                        Field::Aux4, Field::Aux5, Field::Auxiliary};

inline constexpr auto kModels = std::to_array<MonitorModel>({
    {.name = "VRQ-5806",
     .thirdHeaderByte = 0x01,
     .length = 43,
     .fields = kMainFields,
     .startWord = "PLR",
     .startQuestion = "Are you sure your monitor is model VRQ-5806 two channel device?",
     .soleSerial = "999998"},
    {.name = "VRQ-5810",
     .thirdHeaderByte = 0x03,
     .length = 65,
     .fields = kMainFields | kAuxFields,
     .startWord = "XTD"},
});

/// Whether all its fields stand between the header and the checksum of its packets.
[[nodiscard]] constexpr bool FieldsFit(const MonitorModel& model) {
    for (std::size_t i = 0; i < kPacketFields.size(); ++i) {
        const PacketField& field = kPacketFields[i];
        if (model.Has(static_cast<Field>(i)) && field.offset + field.width >= static_cast<int>(model.length))
            return false;
    }
    return true;
}

/// Whether each can be told from the others by its name and by its packets.
[[nodiscard]] constexpr bool AllDiffer(std::span<const MonitorModel> models) {
    for (std::size_t i = 0; i < models.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (models[i].name == models[j].name || models[i].thirdHeaderByte == models[j].thirdHeaderByte)
                return false;
        }
    }
    return true;
}
static_assert(std::ranges::all_of(kModels, FieldsFit) && AllDiffer(kModels));

inline constexpr const MonitorModel& kTwoChannel = kModels[0];
inline constexpr const MonitorModel& kFiveChannel = kModels[1];

inline constexpr std::size_t kLongestPacket = std::ranges::max(kModels, {}, &MonitorModel::length).length;

/// The model whose packets have that byte behind `kHeaderBegin`; null where there is none.
[[nodiscard]] constexpr const MonitorModel* ModelOfHeader(std::uint8_t thirdByte,
                                                          std::span<const MonitorModel> models = kModels) {
    for (const MonitorModel& model : models) {
        if (model.thirdHeaderByte == thirdByte) return &model;
    }
    return nullptr;
}

/// Null where there is none of that name.
[[nodiscard]] constexpr const MonitorModel* ModelOfName(std::string_view name) {
    const auto found = std::ranges::find(kModels, name, &MonitorModel::name);
    return found == kModels.end() ? nullptr : &*found;
}

}  // namespace corvane
