// Structured error records and the error query on each kind of handle.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "connection/client_text.h"
#include "connection/error_record.h"
#include "results/lob.h"
#include "zvc.h"

namespace {

struct Made {
  explicit Made(const std::string& message) : rec(make_error_record(message.c_str())) {}
  ~Made() { free_error_record(rec); }
  ErrorRecord* rec;
};

}  // namespace

TEST(ConnError, CodedMessagesSplitIntoCodeAndBody) {
  Made five("[EC011]Error in build-connect Sock Failure");
  ASSERT_NE(five.rec, nullptr);
  EXPECT_STREQ(five.rec->code, "EC011");
  EXPECT_STREQ(five.rec->text, "Error in build-connect Sock Failure");
  EXPECT_EQ(five.rec->text_len, 35);
  EXPECT_EQ(five.rec->ext_len, 0);
  EXPECT_EQ(five.rec->ext_text, nullptr);

  Made six("[EC0195]Error when RECIEVING ,Net Recieve Error");
  EXPECT_STREQ(six.rec->code, "EC0195");
  EXPECT_STREQ(six.rec->text, "Error when RECIEVING ,Net Recieve Error");
  EXPECT_EQ(six.rec->text_len, 39);

  // Shorter than a code: what there is of the code, and an empty body.
  Made stub("[EC");
  EXPECT_STREQ(stub.rec->code, "EC");
  EXPECT_STREQ(stub.rec->text, "");
  EXPECT_EQ(stub.rec->text_len, 0);

  EXPECT_EQ(make_error_record(nullptr), nullptr);
}

TEST(ConnError, LongBodiesAreCutWithAHintAndKeptWhole) {
  // 5-character code: bodies up to 254 characters fit.
  std::string fits5 = "[EC011]" + std::string(254, 'a');
  Made a(fits5);
  EXPECT_EQ(a.rec->text_len, 254);
  EXPECT_EQ(std::string(a.rec->text), std::string(254, 'a'));
  EXPECT_EQ(a.rec->ext_len, 0);

  std::string body(255, 'b');
  body[0] = 'B';
  Made b("[EC011]" + body);
  std::string cut = body.substr(0, 200) + " extern please call Option\n";
  EXPECT_EQ(std::string(b.rec->text), cut);
  EXPECT_EQ(b.rec->text_len, static_cast<int32_t>(cut.size()));
  EXPECT_EQ(b.rec->ext_len, 255);
  EXPECT_EQ(std::string(b.rec->ext_text), body);
  EXPECT_STREQ(b.rec->code, "EC011");

  // 6-character code: the same limits, one character later.
  Made c("[EC0196]" + std::string(254, 'c'));
  EXPECT_EQ(c.rec->text_len, 254);
  EXPECT_EQ(c.rec->ext_len, 0);
  Made d("[EC0196]" + std::string(255, 'd'));
  EXPECT_EQ(d.rec->text_len, 227);
  EXPECT_EQ(d.rec->ext_len, 255);
  EXPECT_STREQ(d.rec->code, "EC0196");
}

TEST(ConnError, MessagesWithoutACodeBecomeCommonErrors) {
  Made plain("socket went away");
  EXPECT_STREQ(plain.rec->code, "EC0100");
  EXPECT_STREQ(plain.rec->text, "common error\nsocket went away");
  EXPECT_EQ(plain.rec->text_len, 29);
  EXPECT_EQ(plain.rec->ext_len, 0);

  std::string m242(242, 'm');
  Made fits(m242);
  EXPECT_EQ(std::string(fits.rec->text), "common error\n" + m242);
  EXPECT_EQ(fits.rec->text_len, 255);
  EXPECT_EQ(fits.rec->ext_len, 0);

  std::string m243(243, 'm');
  Made aside(m243);
  EXPECT_STREQ(aside.rec->text, "common error\n");
  EXPECT_EQ(aside.rec->text_len, 13);
  EXPECT_EQ(aside.rec->ext_len, 243);
  EXPECT_EQ(std::string(aside.rec->ext_text), m243);
}

TEST(ConnError, GetErrorOnEachKindOfHandle) {
  char code[8];
  char text[258];

  ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  conn->kind = HT_CONN;
  void** handle = reinterpret_cast<void**>(&conn);
  EXPECT_EQ(ZVC_GetError(handle, code, text), ZV_NO_MORE);
  set_error_text(&conn->error_text, "[EC011]Error in build-connect Sock Failure");
  EXPECT_EQ(ZVC_GetError(handle, code, text), 0);
  EXPECT_STREQ(code, "EC011");
  EXPECT_STREQ(text, "Error in build-connect Sock Failure");
  set_error_text(&conn->error_text, ("[EC0196]" + std::string(300, 'x')).c_str());
  EXPECT_EQ(ZVC_GetError(handle, code, text), 2);
  EXPECT_STREQ(code, "EC0196");
  EXPECT_EQ(std::string(text), std::string(200, 'x') + " extern please call Option\n");

  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  result->message = strdup("[WC001]warned");
  EXPECT_EQ(ZVC_GetError(reinterpret_cast<void**>(&result), code, text), 0);
  EXPECT_STREQ(code, "WC001");
  EXPECT_STREQ(text, "warned");

  LobHandle* lob = static_cast<LobHandle*>(client_alloc(sizeof(LobHandle)));
  lob->kind = HT_LOB;
  EXPECT_EQ(ZVC_GetError(reinterpret_cast<void**>(&lob), code, text), ZV_NO_MORE);
  lob->error_text = strdup("lob text");
  EXPECT_EQ(ZVC_GetError(reinterpret_cast<void**>(&lob), code, text), 0);
  EXPECT_STREQ(code, "EC0100");
  EXPECT_STREQ(text, "common error\nlob text");

  int32_t params_kind = HT_PARAMS;
  void* params = &params_kind;
  EXPECT_EQ(ZVC_GetError(&params, code, text), 0);
  int32_t unknown_kind = 9;
  void* unknown = &unknown_kind;
  EXPECT_EQ(ZVC_GetError(&unknown, code, text), ZV_BAD_HANDLE);
  void* none = nullptr;
  EXPECT_EQ(ZVC_GetError(&none, code, text), ZV_BAD_HANDLE);
  EXPECT_EQ(ZVC_GetError(nullptr, code, text), ZV_BAD_HANDLE);

  free(result->message);
  free(result);
  free(lob->error_text);
  free(lob);
  ZVC_CloseConnection(&conn);
}
