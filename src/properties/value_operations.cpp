// The exported operations on values that are registers, and on result codes of all kinds.
#include "frame/trace.h"
#include "properties/direct_values.h"
#include "properties/kind_types.h"
#include "properties/quick_values.h"
#include "properties/values.h"
#include "sntr/values.h"

using namespace sntr;

namespace {

// What the direct way of direct_values.h goes over to, the next longer way first.
[[gnu::noinline]] uint32_t getRTraced(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueForRProperty,
                [&](Trace &t) { return getRegister<RKind>(t, node, TagKey{tag}, value, latchHeld); });
}

[[gnu::noinline, gnu::flatten]] uint32_t getR(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld) {
  const uint32_t rc = quick::getRegister<RKind>(node, TagKey{tag}, value, latchHeld);
  return rc != quick::kNothingDone ? rc : getRTraced(node, tag, value, latchHeld);
}

[[gnu::noinline, gnu::flatten]] uint32_t getRUnlocked(SNodeCB_t *node, uint64_t tag, int32_t *value,
                                                      uint64_t latchHeld) {
  return direct::getRegisterUnlocked<RKind, getR>(node, tag, value, latchHeld);
}

[[gnu::noinline]] uint32_t getRAfterwards(SNodeCB_t *node, uint64_t tag, int32_t *value) {
  direct::giveUp(node);
  return getRTraced(node, tag, value, 0);
}

[[gnu::noinline]] uint32_t setRTraced(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueForRProperty,
                [&](Trace &t) { return setRegister<RKind>(t, node, TagKey{tag}, value, latchHeld); });
}

[[gnu::noinline, gnu::flatten]] uint32_t setR(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  const uint32_t rc = quick::setRegister<RKind>(node, TagKey{tag}, value, latchHeld);
  return rc != quick::kNothingDone ? rc : setRTraced(node, tag, value, latchHeld);
}

[[gnu::noinline, gnu::flatten]] uint32_t setRUnlocked(SNodeCB_t *node, uint64_t tag, int32_t value,
                                                      uint64_t latchHeld) {
  return direct::setRegisterUnlocked<RKind, setR>(node, tag, value, latchHeld);
}

[[gnu::noinline]] uint32_t setRAfterwards(SNodeCB_t *node, uint64_t tag, int32_t value) {
  direct::giveUp(node);
  return setRTraced(node, tag, value, 0);
}

}  // namespace

uint32_t sntrGetAddressForRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value) {
  return traced(Fn::sntrGetAddressForRPropertyValue,
                [&](Trace &t) { return addressOfRegister<RKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld) {
  return direct::getRegister<RKind, getRUnlocked, getRAfterwards>(node, tag, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return direct::setRegister<RKind, setRUnlocked, setRAfterwards>(node, tag, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                        uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForRProperty,
                [&](Trace &t) { return getRegisterAndRC<RKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                        uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForRProperty,
                [&](Trace &t) { return setRegisterAndRC<RKind>(t, node, record, value, rc, latchHeld); });
}

uint32_t sntrGetAddressForIRPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                          int32_t **value) {
  return traced(Fn::sntrGetAddressForIRPropertyValue,
                [&](Trace &t) { return addressOfRegister<IRKind>(t, node, TagIDKey(tag, idLength, id), value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    int32_t *value, uint64_t latchHeld) {
  if (const uint32_t rc = quick::getRegister<IRKind>(node, TagIDKey(tag, idLength, id), value, latchHeld);
      rc != quick::kNothingDone)
    return rc;
  return tracedApart(Fn::sntrGetValueForIRProperty, [=](Trace &t) {
    return getRegister<IRKind>(t, node, TagIDKey(tag, idLength, id), value, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    int32_t value, uint64_t latchHeld) {
  if (const uint32_t rc = quick::setRegister<IRKind>(node, TagIDKey(tag, idLength, id), value, latchHeld);
      rc != quick::kNothingDone)
    return rc;
  return tracedApart(Fn::sntrSetValueForIRProperty, [=](Trace &t) {
    return setRegister<IRKind>(t, node, TagIDKey(tag, idLength, id), value, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                         uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForIRProperty,
                [&](Trace &t) { return getRegisterAndRC<IRKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                         uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForIRProperty,
                [&](Trace &t) { return setRegisterAndRC<IRKind>(t, node, record, value, rc, latchHeld); });
}

uint32_t sntrGetAddressForBaseRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value) {
  return traced(Fn::sntrGetAddressForBaseRPropertyValue,
                [&](Trace &t) { return addressOfRegister<BaseRKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value,
                                                       uint64_t latchHeld) {
  return traced(Fn::sntrGetValueForBaseRProperty,
                [&](Trace &t) { return getRegister<BaseRKind>(t, node, TagKey{tag}, value, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t value,
                                                       uint64_t latchHeld) {
  return traced(Fn::sntrSetValueForBaseRProperty,
                [&](Trace &t) { return setRegister<BaseRKind>(t, node, TagKey{tag}, value, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                            uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForBaseRProperty,
                [&](Trace &t) { return getRegisterAndRC<BaseRKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                            uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForBaseRProperty,
                [&](Trace &t) { return setRegisterAndRC<BaseRKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForRProperty, [&](Trace &t) { return getRC<RKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForVProperty, [&](Trace &t) { return getRC<VKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForIRProperty,
                [&](Trace &t) { return getRC<IRKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForIVProperty,
                [&](Trace &t) { return getRC<IVKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForBaseRProperty,
                [&](Trace &t) { return getRC<BaseRKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForBaseVProperty,
                [&](Trace &t) { return getRC<BaseVKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForRProperty, [&](Trace &t) { return setRC<RKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForVProperty, [&](Trace &t) { return setRC<VKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForIRProperty,
                [&](Trace &t) { return setRC<IRKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForIVProperty,
                [&](Trace &t) { return setRC<IVKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForBaseRProperty,
                [&](Trace &t) { return setRC<BaseRKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForBaseVProperty,
                [&](Trace &t) { return setRC<BaseVKind>(t, node, TagKey{tag}, rc, latchHeld); });
}
