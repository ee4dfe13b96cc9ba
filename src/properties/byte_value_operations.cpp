// The exported operations on values that are bytes.
#include "frame/trace.h"
#include "properties/byte_values.h"
#include "properties/direct_bytes.h"
#include "properties/kind_types.h"
#include "properties/quick_values.h"
#include "sntr/values.h"

using namespace sntr;

namespace {

// What the direct way of direct_values.h goes over to, the next longer way first.
[[gnu::noinline]] uint32_t getVTraced(SNodeCB_t *node, uint64_t tag, const BytesOutput &out, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueForVProperty,
                [&](Trace &t) { return getBytes<VKind>(t, node, TagKey{tag}, out, latchHeld); });
}

[[gnu::noinline, gnu::flatten]] uint32_t getV(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address,
                                              void *buffer, uint64_t latchHeld) {
  const BytesOutput out{size, address, buffer};
  const uint32_t rc = quick::getBytes<VKind>(node, TagKey{tag}, out, latchHeld);
  return rc != quick::kNothingDone ? rc : getVTraced(node, tag, out, latchHeld);
}

[[gnu::noinline]] uint32_t getVAfterwards(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address, void *buffer) {
  direct::giveUp(node);
  return getVTraced(node, tag, BytesOutput{size, address, buffer}, 0);
}

[[gnu::noinline]] uint32_t finishGetV(SNodeCB_t *node, void *buffer, const std::byte *room, uint64_t size) {
  return direct::finishGet(node, buffer, room, size);
}

[[gnu::noinline]] uint32_t setVTraced(SNodeCB_t *node, uint64_t tag, uint64_t size, const void *value,
                                      uint64_t latchHeld) {
  return traced(Fn::sntrSetValueForVProperty, [&](Trace &t) {
    return setBytes<VKind>(t, node, TagKey{tag}, Bytes{value, size}, latchHeld);
  });
}

[[gnu::noinline, gnu::flatten]] uint32_t setV(SNodeCB_t *node, uint64_t tag, uint64_t size, const void *value,
                                              uint64_t latchHeld) {
  const uint32_t rc = quick::setBytes<VKind>(node, TagKey{tag}, Bytes{value, size}, latchHeld);
  return rc != quick::kNothingDone ? rc : setVTraced(node, tag, size, value, latchHeld);
}

[[gnu::noinline]] uint32_t setVAfterwards(SNodeCB_t *node, uint64_t tag, uint64_t size, const void *value) {
  direct::giveUp(node);
  return setVTraced(node, tag, size, value, 0);
}

[[gnu::noinline]] uint32_t finishSetV(SNodeCB_t *node, std::byte *record, const void *value, uint64_t size) {
  return direct::finishSet<VKind>(node, record, value, size);
}

}  // namespace

uint32_t sntrGetAddressForVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value) {
  return traced(Fn::sntrGetAddressForVPropertyValue,
                [&](Trace &t) { return addressOfBytes<VKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address,
                                                   void *buffer, uint64_t latchHeld) {
  return direct::getBytes<VKind, getV, getVAfterwards, finishGetV>(node, tag, size, address, buffer, latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                                   uint64_t latchHeld) {
  return direct::setBytes<VKind, setV, setVAfterwards, finishSetV>(node, tag, valueSize, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                        void **address, void *buffer, uint64_t *rc,
                                                        uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForVProperty, [&](Trace &t) {
    return getBytesAndRC<VKind>(t, node, record, {size, address, buffer}, rc, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                        const void *value, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForVProperty, [&](Trace &t) {
    return setBytesAndRC<VKind>(t, node, record, Bytes{value, valueSize}, rc, latchHeld);
  });
}

uint32_t sntrGetAddressForIVPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                          void **value) {
  return traced(Fn::sntrGetAddressForIVPropertyValue,
                [&](Trace &t) { return addressOfBytes<IVKind>(t, node, TagIDKey(tag, idLength, id), value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    uint64_t *size, void **address, void *buffer, uint64_t latchHeld) {
  if (const uint32_t rc =
          quick::getBytes<IVKind>(node, TagIDKey(tag, idLength, id), {size, address, buffer}, latchHeld);
      rc != quick::kNothingDone)
    return rc;
  return tracedApart(Fn::sntrGetValueForIVProperty, [=](Trace &t) {
    return getBytes<IVKind>(t, node, TagIDKey(tag, idLength, id), {size, address, buffer}, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    uint64_t valueSize, const void *value, uint64_t latchHeld) {
  if (const uint32_t rc =
          quick::setBytes<IVKind>(node, TagIDKey(tag, idLength, id), Bytes{value, valueSize}, latchHeld);
      rc != quick::kNothingDone)
    return rc;
  return tracedApart(Fn::sntrSetValueForIVProperty, [=](Trace &t) {
    return setBytes<IVKind>(t, node, TagIDKey(tag, idLength, id), Bytes{value, valueSize}, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                         void **address, void *buffer, uint64_t *rc,
                                                         uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForIVProperty, [&](Trace &t) {
    return getBytesAndRC<IVKind>(t, node, record, {size, address, buffer}, rc, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                         const void *value, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForIVProperty, [&](Trace &t) {
    return setBytesAndRC<IVKind>(t, node, record, Bytes{value, valueSize}, rc, latchHeld);
  });
}

uint32_t sntrGetAddressForBaseVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value) {
  return traced(Fn::sntrGetAddressForBaseVPropertyValue,
                [&](Trace &t) { return addressOfBytes<BaseVKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address,
                                                       void *buffer, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueForBaseVProperty, [&](Trace &t) {
    return getBytes<BaseVKind>(t, node, TagKey{tag}, {size, address, buffer}, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize,
                                                       const void *value, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueForBaseVProperty, [&](Trace &t) {
    return setBytes<BaseVKind>(t, node, TagKey{tag}, Bytes{value, valueSize}, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                            void **address, void *buffer, uint64_t *rc,
                                                            uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForBaseVProperty, [&](Trace &t) {
    return getBytesAndRC<BaseVKind>(t, node, record, {size, address, buffer}, rc, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record,
                                                            uint64_t valueSize, const void *value, uint64_t rc,
                                                            uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForBaseVProperty, [&](Trace &t) {
    return setBytesAndRC<BaseVKind>(t, node, record, Bytes{value, valueSize}, rc, latchHeld);
  });
}
