// Tessaroc for a renderer: everything needed to load the module, compile a
// material graph once and evaluate it per shading sample from many threads.
//
//   tessaroc::host::InstallHostServices();   // once per process
//   tessaroc::module::LoadModule();
//   std::unique_ptr<tessaroc::graph::Material> material;
//   tessaroc::graph::Material::FromFile("wood.json", material);
//   material->Prepare(primingContext);
//   std::unique_ptr<tessaroc::PlanInstance> evaluator;   // one per thread
//   material->NewEvaluator(evaluator);
//   evaluator->Evaluate(shadingContext);
//   const tessaroc::ColorA& c = evaluator->OutputAs<tessaroc::ColorA>();
//
// The headers below are the library's public surface; the rest of the
// sources stay inside libtessaroc.
#pragma once

#include "tessaroc/core/result.h"           // Result, error ids
#include "tessaroc/core/runtime.h"          // Plan, PlanInstance, SingleNodeRunner
#include "tessaroc/core/shading_context.h"  // ShadingContext
#include "tessaroc/core/value_types.h"      // ColorA, Color, Vector, ...
#include "tessaroc/graph/material.h"        // graph::Material
#include "tessaroc/host/host_services.h"    // host::InstallHostServices, host::SetResourceFolder
#include "tessaroc/module/register.h"       // module::LoadModule, module::UnloadModule
#include "tessaroc/version.h"               // TESSAROC_VERSION_STRING
