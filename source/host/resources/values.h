// Literal values in JSON: reading a value of a port's type from a document or
// a description resource, and writing one for `tessaroc eval`.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tessaroc/core/data.h"
#include "tessaroc/core/data_types.h"

namespace tessaroc::host {

// The type names of description resources and documents ("float", "colora", ...).
const DataType* TypeFromName(std::string_view name);
// The name of a type, or its id when it has no short name.
std::string TypeName(const DataType& type);
// Whether the type has a short name: a value a document can give or read. A
// node's private records (noise tables, baked images) have none.
bool HasShortName(const DataType& type);
// Every short type name, for messages.
std::string TypeNameList();

// Reads `j` as a value of `type` into `out`. On failure returns false and says
// why in one phrase ("expected 4 numbers, got 3").
bool ValueFromJson(const nlohmann::json& j, const DataType& type, Data& out, std::string& why);

// The JSON form of a value: floats read back to the same double, NaN and the
// infinities as "nan", "inf", "-inf", colours and vectors as arrays.
nlohmann::json ValueToJson(const DataType& type, const void* value);

// The command line's notation for a value: `0.5`, `1,0,0.25,1`, `true`,
// `srgb`, `nan`, `a,b` for search paths. Turned into JSON, then read as above.
nlohmann::json JsonFromNotation(std::string_view text);

// "line L, column C" of the 1-based byte `byte` of `text`.
std::string JsonPosition(std::string_view text, size_t byte);

// Where and why JSON text does not parse: "line 3, column 7: invalid JSON
// (the text ends early: unexpected end of input; expected '}')".
std::string JsonParseError(std::string_view text, const nlohmann::json::parse_error& e);

// A `--set` value for a port of `type`: a JSON literal as it stands
// ([1, 0, 0, 1], "text", {"link": "a.result"}), else the notation above,
// except that text (string, url, id, enum) is taken whole, commas and all.
// `list`: the port takes a list of such values.
nlohmann::json JsonFromSetting(std::string_view text, const DataType* type, bool list = false);

}  // namespace tessaroc::host
