// The main of every test program. Death tests re-execute the program, so they stay correct in
// programs that have started threads (the HTTP worker, the run loop).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  return RUN_ALL_TESTS();
}
