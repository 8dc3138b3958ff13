// The error query on each kind of handle.
#include <gtest/gtest.h>

#include <algorithm>

#include <cstring>
#include <string>

#include "results/lob.h"
#include "zvc.h"

TEST(ConnError, GetErrorOnEachKindOfHandle) {
  // The code's 6 bytes and the text's own bytes are copied, nothing behind them: "#" marks what
  // stays untouched.
  char code[8], text[258];
  auto get = [&](void** handle, int32_t rc) {
    memset(code, '#', sizeof code);
    memset(text, '#', sizeof text);
    EXPECT_EQ(rc, ZVC_GetError(handle, code, text));
    return std::string(code, 7) + "|" + std::string(text, std::find(text, text + sizeof text, '#'));
  };
  ConnRecord conn{};
  conn.kind = HT_CONN;
  void* handle = &conn;
  EXPECT_EQ("#######|", get(&handle, ZV_NO_MORE));
  conn.error_text = const_cast<char*>("[EC011]Error in build-connect Sock Failure");
  EXPECT_EQ(std::string("EC011\0#|Error in build-connect Sock Failure", 43), get(&handle, 0));
  std::string long_text = "[EC0196]" + std::string(300, 'x');
  conn.error_text = long_text.data();
  EXPECT_EQ("EC0196#|" + std::string(200, 'x') + " extern please call Option\n", get(&handle, 2));

  ResultRecord result{};
  result.kind = HT_RESULT;
  result.message = const_cast<char*>("[WC001]warned");
  handle = &result;
  EXPECT_EQ(std::string("WC001\0#|warned", 14), get(&handle, 0));
  LobHandle lob{};
  lob.kind = HT_LOB;
  lob.error_text = const_cast<char*>("lob text");
  handle = &lob;
  EXPECT_EQ(std::string("EC0100#|common error\nlob text"), get(&handle, 0));

  int32_t kinds[] = {HT_PARAMS, 9};
  handle = &kinds[0];
  EXPECT_EQ(ZVC_GetError(&handle, code, text), 0);
  handle = &kinds[1];
  EXPECT_EQ(ZVC_GetError(&handle, code, text), ZV_BAD_HANDLE);
  handle = nullptr;
  EXPECT_EQ(ZVC_GetError(&handle, code, text), ZV_BAD_HANDLE);
}
