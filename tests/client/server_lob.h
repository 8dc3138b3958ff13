// Reading a large object back from the reference server in the tests.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "results/lob.h"
#include "zvc.h"

// Column 1 of the first row of sql, read with ctype into a LobHandle (expecting rc from the read)
// and copied out whole.
inline std::string read_lob(ConnRecord** c, const std::string& sql, int32_t ctype, int32_t rc) {
  void* result = nullptr;
  EXPECT_GE(ZVC_Execute(c, sql.c_str(), &result, nullptr, nullptr, nullptr), 0) << sql;
  EXPECT_EQ(0, ZVC_NextRow(&result)) << sql;
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  int32_t out_len = -1;
  EXPECT_EQ(rc, ZVC_GetData(&result, 1, ctype, &lob, sizeof lob, &out_len)) << sql;
  std::string bytes(static_cast<size_t>(lob->size), '\0');
  if (!bytes.empty()) ZVC_GetLobData(&lob, &bytes[0], static_cast<int32_t>(bytes.size()));
  EXPECT_EQ(static_cast<int32_t>(bytes.size()), out_len) << sql;
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  return bytes;
}
