// SPDX-License-Identifier: MIT
// See input_check.h. The order of the checks differs between the kinds, and is published.
#include "properties/input_check.h"

#include "frame/trace.h"
#include "properties/keys.h"
#include "sntr/properties.h"
#include "sntr/property_tables.h"

namespace sntr {

Rc limitsOf(SNodeCB_t *node, const KindData &kind, Limits &out) {
  out = Limits{0, 0};
  if (!hasKind(node, kind.selector)) return Rc::Ok;
  PropertyArea area;
  if (Rc rc = area.open(node, kind.selector); failed(rc)) return rc;
  return readLimits(kind, area, out);
}

namespace {

Rc readMaxIDOfIR(SNodeCB_t *node, std::uint64_t *maxID) {
  if (maxID == nullptr) return Rc::NullIRMaxIDOutput;
  Limits limits;
  if (Rc rc = limitsOf(node, kIRData, limits); failed(rc)) return rc;
  *maxID = limits.maxID;
  return Rc::Ok;
}

Rc readMaxValueOfV(SNodeCB_t *node, std::uint64_t *maxValue) {
  if (maxValue == nullptr) return Rc::NullVMaxValueOutput;
  Limits limits;
  if (Rc rc = limitsOf(node, kVData, limits); failed(rc)) return rc;
  *maxValue = limits.maxValue;
  return Rc::Ok;
}

Rc readMaximaOfIV(SNodeCB_t *node, std::uint64_t *maxID, std::uint64_t *maxValue) {
  if (maxID == nullptr) return Rc::NullIVMaxIDOutput;
  if (maxValue == nullptr) return Rc::NullIVMaxValueOutput;
  Limits limits;
  if (Rc rc = limitsOf(node, kIVData, limits); failed(rc)) return rc;
  *maxID = limits.maxID;
  *maxValue = limits.maxValue;
  return Rc::Ok;
}

Rc checkIRInput(SNodeCB_t *node, const PropertyInput &input, std::uint64_t *maxID) {
  if (Rc rc = readMaxIDOfIR(node, maxID); failed(rc)) return rc;
  if (input.idLength > *maxID) return Rc::IDTooLong;
  return input.id != nullptr ? Rc::Ok : Rc::NullID;
}

Rc checkVInput(SNodeCB_t *node, const PropertyInput &input, std::uint64_t *maxValue) {
  if (Rc rc = readMaxValueOfV(node, maxValue); failed(rc)) return rc;
  return checkValueSize(input.valueSize, *maxValue);
}

Rc checkIVInput(SNodeCB_t *node, const PropertyInput &input, std::uint64_t *maxID, std::uint64_t *maxValue) {
  if (Rc rc = readMaximaOfIV(node, maxID, maxValue); failed(rc)) return rc;
  if (input.idLength > *maxID) return Rc::IDTooLong;
  if (Rc rc = checkValueSize(input.valueSize, *maxValue); failed(rc)) return rc;
  return input.id != nullptr ? Rc::Ok : Rc::NullID;
}

}  // namespace

Rc checkInput(SNodeCB_t *node, const PropertyInput &input, std::uint64_t *maxID, std::uint64_t *maxValue) {
  if (Rc rc = checkNodeAndTag(node, input.tag); failed(rc)) return rc;
  switch (input.kind) {
    case SNTR_KIND_R:
    case SNTR_KIND_BASE_R:
      return Rc::Ok;
    case SNTR_KIND_IR:
      return checkIRInput(node, input, maxID);
    case SNTR_KIND_V:
    case SNTR_KIND_BASE_V:
      return checkVInput(node, input, maxValue);
    case SNTR_KIND_IV:
      return checkIVInput(node, input, maxID, maxValue);
    default:
      return Rc::BadKind;
  }
}

}  // namespace sntr

using namespace sntr;

uint32_t sntrCheckInputParameters(uint32_t kind, SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                  uint64_t valueSize, uint64_t *maxIDSize, uint64_t *maxValueSize) {
  return traced(Fn::sntrCheckInputParameters, [&](Trace &t) {
    return t.fail(1, checkInput(node, {kind, tag, idLength, id, valueSize}, maxIDSize, maxValueSize));
  });
}

uint32_t sntrGetMaxIDSizeForIRProperties(SNodeCB_t *node, uint64_t *maxIDSize) {
  return traced(Fn::sntrGetMaxIDSizeForIRProperties, [&](Trace &t) {
    if (node == nullptr) return t.fail(1, Rc::NullNode);
    return t.fail(2, readMaxIDOfIR(node, maxIDSize));
  });
}

uint32_t sntrGetMaxVSizeForVProperties(SNodeCB_t *node, uint64_t *maxValueSize) {
  return traced(Fn::sntrGetMaxVSizeForVProperties, [&](Trace &t) {
    if (node == nullptr) return t.fail(1, Rc::NullNode);
    return t.fail(2, readMaxValueOfV(node, maxValueSize));
  });
}

uint32_t sntrGetMaxIDVSizeForIVProperties(SNodeCB_t *node, uint64_t *maxIDSize, uint64_t *maxValueSize) {
  return traced(Fn::sntrGetMaxIDVSizeForIVProperties, [&](Trace &t) {
    if (node == nullptr) return t.fail(1, Rc::NullNode);
    return t.fail(2, readMaximaOfIV(node, maxIDSize, maxValueSize));
  });
}
