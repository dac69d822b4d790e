#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "host/resources/values.h"

namespace tessaroc::app {

namespace {

// The context fields a context file may set, by name.
struct Field {
  const char* name;
  const DataType* type;
  void* (*at)(ShadingContext&);
};

// clang-format off
#define FIELD(NAME, TYPE) {#NAME, &TYPE, [](ShadingContext& c) -> void* { return &c.NAME; }}
const Field kFields[] = {
    FIELD(position, kVectorType),         FIELD(positiondx, kVectorType),    FIELD(positiondy, kVectorType),
    FIELD(geometricnormal, kVectorType),  FIELD(shadingnormal, kVectorType), FIELD(uvw, kVectorType),
    FIELD(uvwdx, kVectorType),            FIELD(uvwdy, kVectorType),         FIELD(tangent, kVectorType),
    FIELD(bitangent, kVectorType),        FIELD(pixelx, kInt64Type),         FIELD(pixely, kInt64Type),
    FIELD(subpixelx, kFloat64Type),       FIELD(subpixely, kFloat64Type),    FIELD(time, kFloat64Type),
    FIELD(framerate, kFloat64Type),       FIELD(rayorigin, kVectorType),     FIELD(raydirection, kVectorType),
    FIELD(raymindistance, kFloat64Type),  FIELD(raymaxdistance, kFloat64Type), FIELD(rayorigindx, kVectorType),
    FIELD(rayorigindy, kVectorType),      FIELD(raydirectiondx, kVectorType), FIELD(raydirectiondy, kVectorType),
};
#undef FIELD
// clang-format on

// The one-byte fields, read as whole numbers.
struct ByteField {
  const char* name;
  uint8_t ShadingContext::*member;
};
const ByteField kByteFields[] = {
    {"uvwvalid", &ShadingContext::uvwvalid},
    {"wrapmodeu", &ShadingContext::wrapmodeu},
    {"wrapmodev", &ShadingContext::wrapmodev},
    {"imageflag", &ShadingContext::imageflag},
};

}  // namespace

std::string ContextJson(const ShadingContext& ctx) {
  ShadingContext c = ctx;  // the table's accessors take a context to write
  nlohmann::ordered_json j = nlohmann::ordered_json::object();
  for (const Field& f : kFields) j[f.name] = host::ValueToJson(*f.type, f.at(c));
  for (const ByteField& f : kByteFields) j[f.name] = ctx.*f.member;
  return j.dump();
}

Result ReadContextFile(const std::string& path, ShadingContext& ctx) {
  std::ifstream in(path);
  if (!in) return Result::Fail(errors::kIo, path + ": cannot be read");
  nlohmann::json j;
  try {
    j = nlohmann::json::parse(in);
  } catch (const nlohmann::json::parse_error&) {
    return Result::Fail(errors::kIllegalArgument, path + ": invalid JSON");
  }
  if (!j.is_object()) return Result::Fail(errors::kIllegalArgument, path + ": expected an object of context fields");
  for (auto it = j.begin(); it != j.end(); ++it) {
    bool known = false;
    for (const Field& f : kFields)
      if (it.key() == f.name) {
        Data value;
        std::string why;
        if (!host::ValueFromJson(it.value(), *f.type, value, why))
          return Result::Fail(errors::kIllegalArgument, path + ": /" + it.key() + ": " + why);
        f.type->copyAssign(f.at(ctx), value.get());
        known = true;
      }
    for (const ByteField& f : kByteFields)
      if (it.key() == f.name) {
        if (!it.value().is_number_integer() || it.value().get<int64_t>() < 0 || it.value().get<int64_t>() > 255)
          return Result::Fail(errors::kIllegalArgument, path + ": /" + it.key() + ": expected a whole number 0 to 255");
        ctx.*f.member = static_cast<uint8_t>(it.value().get<int64_t>());
        known = true;
      }
    if (!known) {
      std::string names;
      for (const Field& f : kFields) names += std::string(names.empty() ? "" : ", ") + f.name;
      for (const ByteField& f : kByteFields) names += std::string(", ") + f.name;
      return Result::Fail(errors::kIllegalArgument,
                          path + ": /" + it.key() + ": unknown context field; known: " + names);
    }
  }
  return Result::Ok();
}

}  // namespace tessaroc::app
