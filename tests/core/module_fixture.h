// A suite that runs with the host services installed and the module loaded,
// as a host runs documents; the second kind adds the test nodes.
#pragma once

#include <gtest/gtest.h>

#include "tessaroc/core/registry.h"
#include "tessaroc/host/host_services.h"
#include "tessaroc/module/register.h"
#include "test_nodes.h"

namespace tessaroc::testing {

class ModuleTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(host::InstallHostServices().ok());
    ASSERT_TRUE(module::LoadModule().ok());
  }
  static void TearDownTestSuite() { (void)module::UnloadModule(); }
};

class ModuleWithTestNodesTest : public ModuleTest {
 protected:
  static void SetUpTestSuite() {
    ModuleTest::SetUpTestSuite();
    ASSERT_TRUE(RegisterTestNodes(CoreNodes()).ok());
  }
};

}  // namespace tessaroc::testing
