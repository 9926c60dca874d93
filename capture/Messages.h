#pragma once
// All debug messages of capture: the bytes in code page 932, as they go out, and beside them the same text in
// UTF-8. The bytes are escaped, so that the source is the same in every editor and compiler.

#include "platform/platform.h"

namespace capture {

struct Message {
  const char* bytes;    // code page 932
  const char8_t* text;  // the same in UTF-8, for the reader and for the test that compares the two
};

inline void Say(const Message& message) {
  OutputDebugStringA(message.bytes);
}

// clang-format off
inline constexpr Message kDeviceFailed{
    "\x83\x4C\x83\x83\x83\x76\x83\x60\x83\x83\x83\x66\x83\x6F\x83\x43\x83\x58\x8D\xEC\x90\xAC\x8E\xB8\x94\x73\n",
    u8"キャプチャデバイス作成失敗\n"};
inline constexpr Message kDeviceCreated{
    "\x83\x4C\x83\x83\x83\x76\x83\x60\x83\x83\x83\x66\x83\x6F\x83\x43\x83\x58\x8D\xEC\x90\xAC\x90\xAC\x8C\xF7\n",
    u8"キャプチャデバイス作成成功\n"};
inline constexpr Message kRingFailed{
    "\x83\x8A\x83\x93\x83\x4F\x83\x6F\x83\x62\x83\x74\x83\x40\x8D\xEC\x90\xAC\x8E\xB8\x94\x73\n",
    u8"リングバッファ作成失敗\n"};
inline constexpr Message kRingCreated{
    "\x83\x8A\x83\x93\x83\x4F\x83\x6F\x83\x62\x83\x74\x83\x40\x8D\xEC\x90\xAC\x90\xAC\x8C\xF7\n",
    u8"リングバッファ作成成功\n"};
inline constexpr Message kNotificationsFailed{
    "\x83\x8A\x83\x93\x83\x4F\x83\x6F\x83\x62\x83\x74\x83\x40\x82\xCC\x83\x43\x83\x78\x83\x93\x83\x67\x90\xDD\x92\xE8\x8E\xB8\x94\x73\n",
    u8"リングバッファのイベント設定失敗\n"};
inline constexpr Message kNotificationsSet{
    "\x83\x8A\x83\x93\x83\x4F\x83\x6F\x83\x62\x83\x74\x83\x40\x82\xCC\x83\x43\x83\x78\x83\x93\x83\x67\x90\xDD\x92\xE8\x90\xAC\x8C\xF7\n",
    u8"リングバッファのイベント設定成功\n"};
inline constexpr Message kCaptureStarted{
    "\x98\x5E\x89\xB9\x8A\x4A\x8E\x6E\x8A\xAE\x97\xB9\n",
    u8"録音開始完了\n"};
inline constexpr Message kCaptureNotStarted{
    "\x98\x5E\x89\xB9\x8A\x4A\x8E\x6E\x82\xC5\x82\xAB\x82\xB8\n",
    u8"録音開始できず\n"};
inline constexpr Message kCaptureStopped{
    "\x98\x5E\x89\xB9\x92\x86\x92\x66\n",
    u8"録音中断\n"};
inline constexpr Message kCaptureNotStopped{
    "\x98\x5E\x89\xB9\x92\x86\x92\x66\x8E\xB8\x94\x73\n",
    u8"録音中断失敗\n"};
inline constexpr Message kFileOpenFailed{
    "\x8F\x91\x82\xAB\x82\xB1\x82\xDD\x83\x74\x83\x40\x83\x43\x83\x8B\x83\x49\x81\x5B\x83\x76\x83\x93\x8E\xB8\x94\x73\n",
    u8"書きこみファイルオープン失敗\n"};
inline constexpr Message kFileOpened{
    "\x8F\x91\x82\xAB\x82\xB1\x82\xDD\x83\x74\x83\x40\x83\x43\x83\x8B\x83\x49\x81\x5B\x83\x76\x83\x93\x90\xAC\x8C\xF7\n",
    u8"書きこみファイルオープン成功\n"};
inline constexpr Message kFileOpenUnknown{
    "\x96\xA2\x92\x6D\x82\xCC\x83\x74\x83\x40\x83\x43\x83\x8B\x83\x49\x81\x5B\x83\x76\x83\x93\x83\x47\x83\x89\x81\x5B\n",
    u8"未知のファイルオープンエラー\n"};
inline constexpr Message kFileCloseFailed{
    "\x8F\x91\x82\xAB\x82\xB1\x82\xDD\x83\x74\x83\x40\x83\x43\x83\x8B\x83\x4E\x83\x8D\x81\x5B\x83\x59\x8E\xB8\x94\x73\n",
    u8"書きこみファイルクローズ失敗\n"};
inline constexpr Message kFileClosed{
    "\x8F\x91\x82\xAB\x82\xB1\x82\xDD\x83\x74\x83\x40\x83\x43\x83\x8B\x83\x4E\x83\x8D\x81\x5B\x83\x59\x90\xAC\x8C\xF7\n",
    u8"書きこみファイルクローズ成功\n"};
inline constexpr Message kFileCloseUnknown{
    "\x96\xA2\x92\x6D\x82\xCC\x83\x74\x83\x40\x83\x43\x83\x8B\x83\x4E\x83\x8D\x81\x5B\x83\x59\x83\x47\x83\x89\x81\x5B\n",
    u8"未知のファイルクローズエラー\n"};
inline constexpr Message kAllGivenBack{
    "\x8F\x49\x97\xB9\x8F\x88\x97\x9D\x90\xAC\x8C\xF7\n",
    u8"終了処理成功\n"};
inline constexpr Message kThreadStarted{
    "\x83\x58\x83\x8C\x83\x62\x83\x68\x8D\xEC\x90\xAC\x90\xAC\x8C\xF7\n",
    u8"スレッド作成成功\n"};
inline constexpr Message kThreadFailed{
    "\x83\x58\x83\x8C\x83\x62\x83\x68\x8D\xEC\x90\xAC\x8E\xB8\x94\x73\n",
    u8"スレッド作成失敗\n"};
inline constexpr Message kExitAcknowledged{
    "\x8F\x49\x97\xB9\x83\x81\x83\x62\x83\x5A\x81\x5B\x83\x57\x8A\x6D\x94\x46\n",
    u8"終了メッセージ確認\n"};
inline constexpr Message kExitUnacknowledged{
    "\x8F\x49\x97\xB9\x83\x81\x83\x62\x83\x5A\x81\x5B\x83\x57\x96\xA2\x8A\x6D\x94\x46\n",
    u8"終了メッセージ未確認\n"};
// clang-format on

inline constexpr Message kMessages[] = {
    kDeviceFailed,       kDeviceCreated,  kRingFailed,        kRingCreated,     kNotificationsFailed,
    kNotificationsSet,   kCaptureStarted, kCaptureNotStarted, kCaptureStopped,  kCaptureNotStopped,
    kFileOpenFailed,     kFileOpened,     kFileOpenUnknown,   kFileCloseFailed, kFileClosed,
    kFileCloseUnknown,   kAllGivenBack,   kThreadStarted,     kThreadFailed,    kExitAcknowledged,
    kExitUnacknowledged,
};

/// The message of a drain, before it moves anything: bytes, offset in the ring.
inline constexpr char kDrainFormat[] =
    "Writing %5d bytes to file from capture buffer starting at offset %d\n";

}  // namespace capture
