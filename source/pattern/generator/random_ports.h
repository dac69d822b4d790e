// The result ports that hash and random share, as declaration lines.
#pragma once

#include "core/data_types.h"
#include "core/node_decl.h"

#define TESSAROC_RANDOM_RESULT_PORTS                                                                  \
  {"resultColorA", ::tessaroc::PortDir::kOut, &::tessaroc::kColorAType},                             \
      {"resultColor", ::tessaroc::PortDir::kOut, &::tessaroc::kColorType},                           \
      {"resultFloat", ::tessaroc::PortDir::kOut, &::tessaroc::kFloat64Type},                         \
      {"resultInt", ::tessaroc::PortDir::kOut, &::tessaroc::kInt64Type},                             \
      {"resultVector3", ::tessaroc::PortDir::kOut, &::tessaroc::kVectorType},                        \
      {"resultVector2", ::tessaroc::PortDir::kOut, &::tessaroc::kVector2dType},                      \
      {"resultBool", ::tessaroc::PortDir::kOut, &::tessaroc::kBoolType}

#define TESSAROC_RANDOM_RESULT_ACCESS(first)                                                  \
  {(first) + 0, "resultColorA"}, {(first) + 1, "resultColor"}, {(first) + 2, "resultFloat"}, \
      {(first) + 3, "resultInt"}, {(first) + 4, "resultVector3"}, {(first) + 5, "resultVector2"}, \
      {(first) + 6, "resultBool"}
