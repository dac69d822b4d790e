#include "host/resources/values.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "tessaroc/core/shading_context.h"
#include "pattern/generator/texture_service.h"

namespace tessaroc::host {

namespace {

struct NamedType {
  const char* name;
  const DataType* type;
};

const DataType* SearchPathsDataType() { return &kSearchPathsType; }

const NamedType kNames[] = {
    {"float", &kFloat64Type},     {"float32", &kFloat32Type},       {"bool", &kBoolType},
    {"int32", &kInt32Type},       {"uint32", &kUInt32Type},         {"int", &kInt64Type},
    {"colora", &kColorAType},     {"color", &kColorType},           {"vector2", &kVector2dType},
    {"vector", &kVectorType},     {"vector4", &kVector4dType},      {"string", &kStringType},
    {"url", &kUrlType},           {"enum", &kInternedIdType},       {"id", &kIdType},
    {"time", &kTimeValueType},    {"rendermode", &kRenderModeType}, {"shadingcontext", &kShadingContextType},
    {"layerset", &kLayerSetType},
};

bool Number(const nlohmann::json& j, double& out) {
  if (j.is_number()) {
    out = j.get<double>();
    return true;
  }
  if (j.is_string()) {
    const std::string& s = j.get_ref<const std::string&>();
    if (s == "nan") out = std::numeric_limits<double>::quiet_NaN();
    else if (s == "inf") out = std::numeric_limits<double>::infinity();
    else if (s == "-inf") out = -std::numeric_limits<double>::infinity();
    else return false;
    return true;
  }
  return false;
}

bool Numbers(const nlohmann::json& j, size_t n, double* out, std::string& why) {
  if (!j.is_array()) {
    why = "expected a list of " + std::to_string(n) + " numbers";
    return false;
  }
  if (j.size() != n) {
    why = "expected " + std::to_string(n) + " numbers, got " + std::to_string(j.size());
    return false;
  }
  for (size_t i = 0; i < n; ++i)
    if (!Number(j[i], out[i])) {
      why = "element " + std::to_string(i) + " is not a number";
      return false;
    }
  return true;
}

template <class T>
T& Put(Data& out, const DataType& type) {
  return *static_cast<T*>(out.Emplace(&type));
}

bool Integer(const nlohmann::json& j, long double lo, long double hi, int64_t& out, std::string& why) {
  if (!j.is_number_integer()) {
    if (j.is_number_float()) {
      const double d = j.get<double>();
      // Compared as long double: the int64 bounds rounded to double would let
      // 2^63 through to a conversion that cannot hold it.
      if (std::floor(d) == d && static_cast<long double>(d) >= lo && static_cast<long double>(d) <= hi) {
        out = static_cast<int64_t>(d);
        return true;
      }
      if (std::floor(d) == d) {
        why = "number out of range";
        return false;
      }
    }
    why = "expected a whole number";
    return false;
  }
  long double v =
      j.is_number_unsigned() ? static_cast<long double>(j.get<uint64_t>()) : static_cast<long double>(j.get<int64_t>());
  if (v < lo || v > hi) {
    why = "number out of range";
    return false;
  }
  out = j.is_number_unsigned() ? static_cast<int64_t>(j.get<uint64_t>()) : j.get<int64_t>();
  return true;
}

nlohmann::json Float(double v) {
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  return v;
}

}  // namespace

const DataType* TypeFromName(std::string_view name) {
  for (const NamedType& n : kNames)
    if (name == n.name) return n.type;
  if (name == "searchpaths") return SearchPathsDataType();
  return nullptr;
}

std::string TypeName(const DataType& type) {
  for (const NamedType& n : kNames)
    if (n.type == &type) return n.name;
  if (&type == SearchPathsDataType()) return "searchpaths";
  if (type.functionResult) return TypeName(*type.functionResult) + " function";
  return type.id.str();
}

bool HasShortName(const DataType& type) { return TypeFromName(TypeName(type)) == &type; }

std::string TypeNameList() {
  std::string s;
  for (const NamedType& n : kNames) {
    if (!s.empty()) s += ", ";
    s += n.name;
  }
  return s + ", searchpaths";
}

bool ValueFromJson(const nlohmann::json& j, const DataType& type, Data& out, std::string& why) {
  const DataType* t = type.Storage();
  if (&type == &kTimeValueType || t == &kFloat64Type) {
    double v;
    if (!Number(j, v)) {
      why = "expected a number";
      return false;
    }
    Put<double>(out, type) = v;
    return true;
  }
  if (t == &kFloat32Type) {
    double v;
    if (!Number(j, v)) {
      why = "expected a number";
      return false;
    }
    Put<float>(out, type) = static_cast<float>(v);
    return true;
  }
  if (t == &kBoolType) {
    if (!j.is_boolean()) {
      why = "expected true or false";
      return false;
    }
    Put<bool>(out, type) = j.get<bool>();
    return true;
  }
  int64_t i = 0;
  if (t == &kInt32Type) {
    if (!Integer(j, INT32_MIN, INT32_MAX, i, why)) return false;
    Put<int32_t>(out, type) = static_cast<int32_t>(i);
    return true;
  }
  if (t == &kUInt32Type) {
    if (!Integer(j, 0, UINT32_MAX, i, why)) return false;
    Put<uint32_t>(out, type) = static_cast<uint32_t>(i);
    return true;
  }
  if (t == &kInt64Type) {
    if (!Integer(j, static_cast<long double>(INT64_MIN), static_cast<long double>(INT64_MAX), i, why)) return false;
    Put<int64_t>(out, type) = i;
    return true;
  }
  double v[4];
  if (t == &kColorAType) {
    // Three numbers are an opaque colour.
    if (!j.is_array() || (j.size() != 3 && j.size() != 4)) {
      why = j.is_array() ? "expected 3 or 4 numbers, got " + std::to_string(j.size())
                         : "expected a list of 3 or 4 numbers";
      return false;
    }
    if (!Numbers(j, j.size(), v, why)) return false;
    if (j.size() == 3) v[3] = 1.0;
    Put<ColorA>(out, type) = {v[0], v[1], v[2], v[3]};
    return true;
  }
  if (t == &kColorType) {
    if (!Numbers(j, 3, v, why)) return false;
    Put<Color>(out, type) = {v[0], v[1], v[2]};
    return true;
  }
  if (t == &kVectorType) {
    if (!Numbers(j, 3, v, why)) return false;
    Put<Vector>(out, type) = {v[0], v[1], v[2]};
    return true;
  }
  if (t == &kVector2dType) {
    if (!Numbers(j, 2, v, why)) return false;
    Put<Vector2d>(out, type) = {v[0], v[1]};
    return true;
  }
  if (t == &kVector4dType) {
    if (!Numbers(j, 4, v, why)) return false;
    Put<Vector4d>(out, type) = {v[0], v[1], v[2], v[3]};
    return true;
  }
  if (t == &kStringType || t == &kUrlType || t == &kIdType || t == &kInternedIdType) {
    if (!j.is_string()) {
      why = "expected text";
      return false;
    }
    const std::string& s = j.get_ref<const std::string&>();
    if (t == &kStringType) Put<String>(out, type) = String(s);
    else if (t == &kUrlType) Put<Url>(out, type) = Url(s);
    else if (t == &kIdType) Put<Id>(out, type) = CanonicalId(s);
    else Put<InternedId>(out, type) = InternedId::Intern(s);
    return true;
  }
  if (t == &kLayerSetType) {
    // One layer name, or a list of them in order of preference.
    LayerSet set;
    const bool one = j.is_string();
    if (!one && !j.is_array()) {
      why = "expected a layer name or a list of layer names";
      return false;
    }
    for (const auto& e : one ? nlohmann::json::array({j}) : j) {
      if (!e.is_string()) {
        why = "expected a layer name or a list of layer names";
        return false;
      }
      set.layers.emplace_back(e.get<std::string>());
    }
    Put<LayerSet>(out, type) = std::move(set);
    return true;
  }
  if (&type == SearchPathsDataType() && SearchPathsDataType() != nullptr) {
    if (!j.is_array()) {
      why = "expected a list of paths";
      return false;
    }
    SearchPathsType paths;
    for (const auto& e : j) {
      if (!e.is_string()) {
        why = "expected a list of paths";
        return false;
      }
      paths.urls.emplace_back(e.get<std::string>());
    }
    type.copyAssign(out.Emplace(&type), &paths);
    return true;
  }
  why = "values of type " + TypeName(type) + " cannot be written as literals";
  return false;
}

nlohmann::json ValueToJson(const DataType& type, const void* value) {
  const DataType* t = type.Storage();
  if (t == &kFloat64Type) return Float(*static_cast<const double*>(value));
  if (t == &kFloat32Type) return Float(*static_cast<const float*>(value));
  if (t == &kBoolType) return *static_cast<const uint8_t*>(value) != 0;
  if (t == &kInt32Type) return *static_cast<const int32_t*>(value);
  if (t == &kUInt32Type) return *static_cast<const uint32_t*>(value);
  if (t == &kInt64Type) return *static_cast<const int64_t*>(value);
  if (t == &kColorAType) {
    const auto& c = *static_cast<const ColorA*>(value);
    return nlohmann::json::array({Float(c.r), Float(c.g), Float(c.b), Float(c.a)});
  }
  if (t == &kColorType) {
    const auto& c = *static_cast<const Color*>(value);
    return nlohmann::json::array({Float(c.r), Float(c.g), Float(c.b)});
  }
  if (t == &kVectorType) {
    const auto& c = *static_cast<const Vector*>(value);
    return nlohmann::json::array({Float(c.x), Float(c.y), Float(c.z)});
  }
  if (t == &kVector2dType) {
    const auto& c = *static_cast<const Vector2d*>(value);
    return nlohmann::json::array({Float(c.x), Float(c.y)});
  }
  if (t == &kVector4dType) {
    const auto& c = *static_cast<const Vector4d*>(value);
    return nlohmann::json::array({Float(c.x), Float(c.y), Float(c.z), Float(c.w)});
  }
  if (t == &kStringType) return std::string(static_cast<const String*>(value)->view());
  if (t == &kUrlType) return std::string(static_cast<const Url*>(value)->view());
  if (t == &kIdType) return std::string(static_cast<const Id*>(value)->view());
  if (t == &kInternedIdType) return std::string(static_cast<const InternedId*>(value)->view());
  if (t == &kLayerSetType) {
    nlohmann::json names = nlohmann::json::array();
    for (const String& layer : static_cast<const LayerSet*>(value)->layers) names.push_back(std::string(layer.view()));
    return names;
  }
  if (t == &kShadingContextType) {
    // The fields the nodes here change, by name.
    const auto& c = *static_cast<const ShadingContext*>(value);
    auto vec = [](const Vector& v) { return nlohmann::json::array({Float(v.x), Float(v.y), Float(v.z)}); };
    return {{"uvw", vec(c.uvw)},           {"uvwdx", vec(c.uvwdx)},
            {"uvwdy", vec(c.uvwdy)},       {"uvwvalid", c.uvwvalid},
            {"wrapmodeu", c.wrapmodeu},    {"wrapmodev", c.wrapmodev},
            {"position", vec(c.position)}, {"shadingnormal", vec(c.shadingnormal)},
            {"time", Float(c.time)}};
  }
  return "<" + TypeName(type) + ">";
}

nlohmann::json JsonFromNotation(std::string_view text) {
  auto scalar = [](std::string_view s) -> nlohmann::json {
    if (s == "true") return true;
    if (s == "false") return false;
    if (s == "nan" || s == "inf" || s == "-inf") return std::string(s);
    double d = 0;
    auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), d);
    if (ec == std::errc() && p == s.data() + s.size()) {
      int64_t i = 0;
      auto [q, ec2] = std::from_chars(s.data(), s.data() + s.size(), i);
      if (ec2 == std::errc() && q == s.data() + s.size()) return i;
      return d;
    }
    return std::string(s);
  };
  if (text.find(',') == std::string_view::npos) return scalar(text);
  nlohmann::json list = nlohmann::json::array();
  size_t start = 0;
  while (true) {
    size_t comma = text.find(',', start);
    list.push_back(scalar(text.substr(start, comma == std::string_view::npos ? text.npos : comma - start)));
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }
  return list;
}

std::string JsonPosition(std::string_view text, size_t byte) {
  size_t line = 1, column = 1;
  for (size_t i = 0; i + 1 < byte && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::string JsonParseError(std::string_view text, const nlohmann::json::parse_error& e) {
  // The library says "... parse error at line 1, column 5: syntax error
  // while parsing value - invalid literal; last read: 'tru'; expected ...":
  // keep the reason, not the quoted fragment.
  std::string why = e.what();
  if (const size_t at = why.find(": ", why.find("parse error")); at != std::string::npos) why.erase(0, at + 2);
  if (const size_t dash = why.find(" - "); why.rfind("syntax error", 0) == 0 && dash != std::string::npos)
    why.erase(0, dash + 3);
  if (const size_t last = why.find("; last read: "); last != std::string::npos) {
    const size_t end = why.find("; ", last + 13);
    why.erase(last, end == std::string::npos ? std::string::npos : end - last);
  }
  if (e.byte > text.size() || why.find("end of input") != std::string::npos) why = "the text ends early: " + why;
  return JsonPosition(text, e.byte) + ": invalid JSON (" + why + ")";
}

nlohmann::json JsonFromSetting(std::string_view text, const DataType* type, bool list) {
  const DataType* t = type ? type->Storage() : nullptr;
  const bool isText = t == &kStringType || t == &kUrlType || t == &kIdType || t == &kInternedIdType;
  // Text is a JSON literal only when it says so with quotes, braces or (for
  // a list) brackets.
  if (!isText || (!text.empty() && (text.front() == '"' || text.front() == '{' || (list && text.front() == '[')))) {
    nlohmann::json j = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!j.is_discarded()) return j;
  }
  if (isText) return std::string(text);
  return JsonFromNotation(text);
}

}  // namespace tessaroc::host
