// How the subcommands have something decided: by whoever holds the Master.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "brenic/Message.h"
#include "brenic/Types.h"

namespace brenic::master {

/// The answer to a request that was committed.
struct Asked {
  String m_Text; // what was done
  shared_ptr<Message> m_Reply;
};

/// Has the Master in the data folder decide the message: the running one, or one that is made for it alone.
/// Throws Exception* when it is refused, or when its outcome is unknown.
using Ask = std::function<Asked(const Path& folder, const Message& message)>;

/// What a Master answered to the message, in frames. Throws Exception* when it was refused.
Asked ReadAnswer(const Message& message, const std::string& frames);

/// Asks the Master that serves the data folder, by its management socket. No value when there is none that
/// listens (it begins or ends just now). Throws Exception*, also when something that is no socket is in its
/// place, and when it is silent for so long; it may be busy with a million options.
std::optional<Asked> AskRunning(const Path& folder, const Message& message,
                                std::chrono::milliseconds patience = std::chrono::seconds(60));

} // namespace brenic::master
