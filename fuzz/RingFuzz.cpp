// The ring decoder on files that anything may have happened to. An input is either a file as it
// stands, or damages that are done to a whole ring, one after the other, some of them with their
// checks made right again. Whatever it is, decoding ends, within the bytes that there are.

#include <algorithm>
#include <string>
#include <string_view>

#include "fuzz/FuzzInput.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trace/RingDecoder.h"
#include "platform/trace/RingFormat.h"
#include "platform/trace/Trace.h"
#include "platform/trace/TraceRing.h"
#include "records/NexthopStatusFecIdType.h"

namespace Routing::Fuzz {

namespace {

using namespace RingFormat;

// A ring with messages of every kind of argument.
String wholeRing() {
  TraceRing ring(TraceRing::minimumSize);
  Tracing::ringIs(&ring);
  TraceFacility facility{"Fuzz"};
  facility.ringLevelsAre(allTraceLevels);
  for (unsigned number = 0; number < 3; ++number) {
    ROUTING_TRACE(facility, 1, "{} {}", number, NexthopStatusFecIdType::resolverId);
    ROUTING_TRACE(facility, 2, "{} {}", *IpGenAddr::parse("2001:db8::1"), IpGenAddr());
    ROUTING_TRACE(facility, 3, "{} {}", *IpGenPrefix::parse("10.0.0.0/8"), true);
    ROUTING_TRACE(facility, 4, "{} {}", String("text"), -1);
  }
  Tracing::ringIs(nullptr);
  return String(ring.image());
}

// Makes the check of an entry or a record right again, if its size allows.
void repairCheck(String& image, std::size_t offset) {
  if (image.size() < offset + alignment) {
    return;
  }
  const std::size_t size = loadLittleEndian<std::uint32_t>(image.data() + offset);
  if (size >= entryHeaderSize && size % alignment == 0 && size <= image.size() - offset) {
    const std::string_view bytes =
        std::string_view(image).substr(offset + alignment, size - alignment);
    storeLittleEndian(image.data() + offset + 4, check(size, bytes));
  }
}

String damaged(Input& input) {
  static const String whole = wholeRing();
  String image = whole;
  while (!input.atEnd() && !image.empty()) {
    const std::size_t kind = input.below(8);
    // Most damage is done where something stands: in the header and at the two areas' beginnings.
    const std::size_t area = kind % 2 == 0 ? 0 : headerSize + minimumTableSize;
    const std::size_t offset = (area + input.word() % 1024) % image.size();
    switch (kind) {
      case 0:
      case 1:
      case 2:
        image[offset] = static_cast<char>(input.byte());
        break;
      case 3:
        image.insert(offset, input.below(64), '\0');
        break;
      case 4:
      case 5:
        repairCheck(image, offset / alignment * alignment);
        break;
      case 6:
        std::copy_n(image.data() + offset / 2,
                    std::min<std::size_t>(input.byte(), image.size() - offset),
                    image.data() + offset);
        break;
      default:
        image.resize(offset + input.word() % image.size());
    }
  }
  return image;
}

void decode(String image) {
  const std::size_t size = image.size();
  try {
    RingDecoder decoder(std::move(image));
    std::size_t messages = 0;
    String line;
    while (const auto message = decoder.next()) {
      line.clear();
      appendTraceLine(line, *message, TraceTime::shown);
      require(!line.empty() && line.back() == '\n', "a message is no line");
      require(++messages <= size / recordHeaderSize, "more messages than bytes for them");
    }
    require(decoder.problems().size() <= RingDecoder::maxProblems + 1, "too many problems");
  } catch (const TraceRingError&) {
    // Not a ring.
  }
}

}  // namespace

}  // namespace Routing::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Routing::Fuzz::Input input(data, size);
  if (input.below(2) == 0) {
    Routing::Fuzz::decode(Routing::Fuzz::damaged(input));
  } else {
    Routing::Fuzz::decode(Routing::String(input.rest()));
  }
  return 0;
}
