// Names of sections and options that clients and the Master share.
#pragma once

namespace brenic {

inline constexpr char o_Distribution[] = "Distribution"; // section of the global options
inline constexpr char o_Limit[] = "Limit";
inline constexpr char o_Restrictions[] = "Restrictions";
inline constexpr char o_UserLimits[] = "UserLimits";

// Global options that the Master itself reads.
inline constexpr char o_DefaultIdleTimeout[] = "DefaultIdleTimeout"; // minutes, whole number
inline constexpr char o_Message[] = "Message";

} // namespace brenic
