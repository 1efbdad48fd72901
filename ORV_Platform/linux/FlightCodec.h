// An entry of the flight record as bytes: big-endian, the same on every machine.
#ifndef ORV_LINUX_FLIGHTCODEC_H
#define ORV_LINUX_FLIGHTCODEC_H

#include <string>
#include <string_view>

#include "FlightRecord.h"

namespace orv {

// The slot of `entry`, FLIGHT_SLOT_SIZE bytes: head, entry, zeros. Texts are cut to what leaves room for all of
// them; where a list has more than it may, the oldest go.
std::string encodeFlightSlot(const FlightEntry &entry);

enum class SlotState { EMPTY, GOOD, DAMAGED };

// What is in a slot. `entry` is filled where that is GOOD.
SlotState decodeFlightSlot(std::string_view slot, FlightEntry &entry);

// The checksum of a slot: CRC-32 with the polynomial of Ethernet, reflected.
uint32_t crc32(std::string_view bytes);

}  // namespace orv

#endif
