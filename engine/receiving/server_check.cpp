#include "engine/receiving/server_check.h"

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/stoppable_waits.h"
#include "engine/receiving/mail_source.h"
#include "engine/sending/mail_channel.h"
#include "engine/sending/sending.h"
#include "tessaly/text.h"

namespace engine {
namespace {

bool EndsSoon(Handshake const& handshake) {
    COleDateTime const soon = COleDateTime::GetCurrentTime() + COleDateTimeSpan(days_of_warning, 0, 0, 0);
    COleDateTime end;
    return !handshake.parameters.empty() && end.ParseDateTime(handshake.valid_until.c_str()) && end < soon;
}

ServerCheck CheckSmtp(ServerSettings const& server) {
    ChannelCheck const check = MakeMailChannel(server)->Check();
    return {check.works, check.reason, check.handshake, EndsSoon(check.handshake), 0};
}

ServerCheck CheckPop(MailboxSettings const& mailbox) {
    ServerCheck check;
    try {
        std::unique_ptr<MailSource> const source = MakePopSource(mailbox, 0, &check.handshake);
        check.mails = source->Total();
        source->End();
        check.works = true;
    } catch (Failure const& failure) {
        check.reason = OnOneLine(failure.what());
    }
    check.certificate_ends_soon = EndsSoon(check.handshake);
    return check;
}

}  // namespace

void CheckRequest::Run(Session& session, View& view) const {
    KeepTransferLog(session);
    StoppableWaits const waits(session.Front());
    bool const has_pop = !pop.empty() || !session.Setting("pop.host").empty();
    bool const has_smtp = !smtp.empty() || !session.Setting("smtp.host").empty() || !has_pop;
    bool works = true;
    auto const show = [&](CheckedServer const& server, auto const& check) {
        view.Begin(server);
        ServerCheck const result = check();
        if (session.Front().Stopped()) throw Failure(Failure::stopped, "中断しました。");
        view.End(server, result);
        works = works && result.works;
    };
    if (has_smtp) {
        ServerSettings const server = ServerOf(session, smtp);
        show({CheckedServer::outgoing, Out(server.host), server.port, server.security, server.auth != "none"},
             [&] { return CheckSmtp(server); });
    }
    if (has_pop) {
        MailboxSettings const mailbox = MailboxOf(session, pop);
        show({CheckedServer::mailbox, Out(mailbox.host), mailbox.port, mailbox.security, true},
             [&] { return CheckPop(mailbox); });
    }
    if (!works)
        throw Failure(Failure::server_failed, "設定を見直してください。「tessaly settings " +
                                                  session.EnvFile() + "」で一覧を見られます。");
}

}  // namespace engine
