// The client library's call surface. Every call returns a signed 32-bit code: 0 or above
// is success; a failing call leaves its text on the handle at hand (ZVC_GetErrorText).
// Calls take the address of the caller's handle variable, so that closing calls can null it.
#pragma once
#include <cstdint>

struct ConnRecord;
struct LobHandle;

enum ZvcCode : int32_t {
  ZV_SERVER_ERROR = -1,
  ZV_BAD_HANDLE = -3,
  ZV_NET_ERROR = -4,
  ZV_NO_MEMORY = -5,
  ZV_SOCKET_FAILED = -8,
  ZV_LOGIN_FAILED = -9,
  ZV_NULL_VALUE = -11,
  ZV_TRUNCATED = -12,
  ZV_NO_CONVERSION = -13,
  ZV_BAD_COLUMN = -15,
  ZV_NO_MORE = 100,
};

// Connection
int32_t ZVC_OpenConnection(const char* conn_string, ConnRecord** out);
int32_t ZVC_CloseConnection(ConnRecord** handle);
int32_t ZVC_Reconnect(ConnRecord** handle);
int32_t ZVC_GetError(void** handle, char* code_out, char* text_out);
int32_t ZVC_GetErrorText(void** handle, char* buffer, int32_t* length_out);
int32_t ZVC_GetErrorLength(void** handle);

// Direct execution
int32_t ZVC_ExecNoQuery(ConnRecord** handle, const char* sql);
int32_t ZVC_ExecScalar(ConnRecord** handle, const char* sql, void* value_buf, int32_t* type_out);
int32_t ZVC_Execute(ConnRecord** handle, const char* sql, void** result_out, int32_t* field_count_out,
                    int32_t* row_count_out, int32_t* effect_out);

// Results: handles of kind 4 (ResultRecord)
int32_t ZVC_GetData(void** handle, int32_t column, int32_t ctype, void* buffer, int32_t buffer_len,
                    int32_t* out_len);
int32_t ZVC_GetColumnCount(void** handle, int32_t* count_out);
int32_t ZVC_GetRowCount(void** handle, int32_t* count_out);
int32_t ZVC_GetColumnType(void** handle, int32_t column, int32_t* ctype_out);
int32_t ZVC_GetColumnSize(void** handle, int32_t column, int32_t* size_out);
int32_t ZVC_GetColumnName(void** handle, int32_t column, char* name_out);
int32_t ZVC_GetColumnInfo(void** handle, int32_t column, char* table_out, char* name_out, char* alias_out,
                          int32_t* ctype_out, int32_t* size_out, int32_t* detail_out);
int32_t ZVC_GetColumnIndex(void** handle, const char* name);
int32_t ZVC_NextRow(void** handle);
int32_t ZVC_NextResult(void** handle);
int32_t ZVC_CloseResult(void** handle);
int32_t ZVC_FreeHandle(void** handle);
int32_t ZVC_GetAttr(void** handle, int32_t attribute, void* value_out, int32_t value_size, int32_t* type_out,
                    int32_t* length_out);

// Large objects
int32_t ZVC_CreateLob(LobHandle** lob_var);
int32_t ZVC_PutLobData(LobHandle** lob_var, const void* data, uint32_t length);
int32_t ZVC_GetLobData(LobHandle** lob_var, void* buffer, int32_t length);
int32_t ZVC_SetLobReadPos(LobHandle** lob_var, int32_t pos);
int32_t ZVC_ResetLob(LobHandle** lob_var);
int32_t ZVC_FreeLob(LobHandle** lob_var);
