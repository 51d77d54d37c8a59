#pragma once

#include <cstddef>
#include <string_view>

namespace quillet::control {

// What the command asks of the running application: JSON-RPC 2.0, one message a line, over a Unix
// socket that only the user can open.
inline constexpr std::string_view status = "status";
inline constexpr std::string_view start = "start";
inline constexpr std::string_view stop = "stop";
inline constexpr std::string_view toggle = "toggle";
inline constexpr std::string_view press = "press";
inline constexpr std::string_view release = "release";
inline constexpr std::string_view cancel = "cancel";
inline constexpr std::string_view pasteLast = "paste-last";
inline constexpr std::string_view sendRecording = "send-recording";
inline constexpr std::string_view deleteHistory = "delete-history";
inline constexpr std::string_view dictateForAgent = "dictate";
inline constexpr std::string_view typeText = "type";
inline constexpr std::string_view meetingStatus = "meeting-status";
inline constexpr std::string_view meetingStart = "meeting-start";
inline constexpr std::string_view meetingStop = "meeting-stop";
inline constexpr std::string_view meetingRecover = "meeting-recover";
inline constexpr std::string_view meetingDiscard = "meeting-discard";
inline constexpr std::string_view meetingSummarise = "meeting-summarize";
inline constexpr std::string_view reviewRun = "review-run";
inline constexpr std::string_view reviewAccept = "review-accept";
inline constexpr std::string_view reviewDismiss = "review-dismiss";
inline constexpr std::string_view reviewUndo = "review-undo";
inline constexpr std::string_view knowledgeRun = "knowledge-run";
inline constexpr std::string_view knowledgeDelete = "knowledge-delete";
inline constexpr std::string_view mcpStatus = "mcp-status";
inline constexpr std::string_view mcpSwitch = "mcp-switch";
inline constexpr std::string_view mcpCommand = "mcp-command";
inline constexpr std::string_view mcpNewKey = "mcp-new-key";
inline constexpr std::string_view showMenu = "show-menu";
inline constexpr std::string_view open = "open";
inline constexpr std::string_view quit = "quit";

/// What `open` opens; the application's `WindowKind` follows this order.
inline constexpr std::string_view windows[] = {"settings",  "history",  "recordings", "review",
                                               "knowledge", "meetings", "guide"};

/// A longer line is nobody's request.
inline constexpr std::size_t longestLine = 1UL << 20;

}  // namespace quillet::control
