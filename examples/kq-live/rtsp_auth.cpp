#include "rtsp_auth.h"

#include <cstring>

#include "live_log.h"

namespace {

struct KqLoggingAuth {
    GstRTSPAuth parent;
};
struct KqLoggingAuthClass {
    GstRTSPAuthClass parent;
};

G_DEFINE_TYPE(KqLoggingAuth, kq_logging_auth, GST_TYPE_RTSP_AUTH)

// The user a digest or basic header names, printable characters only and bounded.
std::string claimedUser(const char* header) {
    const char* name = header ? std::strstr(header, "username=\"") : nullptr;
    std::string user;
    if (!name) return "?";
    for (const char* c = name + 10; *c && *c != '"' && user.size() < 64; ++c)
        user += (*c > 0x20 && *c < 0x7f) ? *c : '?';
    return user;
}

gboolean checkAndLog(GstRTSPAuth* auth, GstRTSPContext* ctx, const gchar* check) {
    const gboolean ok = GST_RTSP_AUTH_CLASS(kq_logging_auth_parent_class)->check(auth, ctx, check);
    gchar* header = nullptr;
    // A request without credentials is the first step of digest: only refused ones count.
    if (ok || !ctx->request ||
        gst_rtsp_message_get_header(ctx->request, GST_RTSP_HDR_AUTHORIZATION, &header, 0) !=
            GST_RTSP_OK)
        return ok;
    GstRTSPConnection* connection =
        ctx->client ? gst_rtsp_client_get_connection(ctx->client) : nullptr;
    live::logLine(live::LogLevel::Warning, "RTSP: refused the credentials of user \"%s\" from %s",
                  claimedUser(header).c_str(),
                  connection ? gst_rtsp_connection_get_ip(connection) : "?");
    return ok;
}

void kq_logging_auth_class_init(KqLoggingAuthClass* klass) {
    GST_RTSP_AUTH_CLASS(klass)->check = checkAndLog;
}

void kq_logging_auth_init(KqLoggingAuth*) {}

}  // namespace

namespace live {

GstRTSPAuth* newDigestAuth(const std::string& user, const std::string& password) {
    auto* auth = static_cast<GstRTSPAuth*>(g_object_new(kq_logging_auth_get_type(), nullptr));
    gst_rtsp_auth_set_supported_methods(auth, GST_RTSP_AUTH_DIGEST);
    GstRTSPToken* token =
        gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, kViewerRole, nullptr);
    gst_rtsp_auth_add_digest(auth, user.c_str(), password.c_str(), token);
    gst_rtsp_token_unref(token);
    return auth;
}

void allowViewers(GstRTSPMediaFactory* factory) {
    gst_rtsp_media_factory_add_role(factory, kViewerRole, GST_RTSP_PERM_MEDIA_FACTORY_ACCESS,
                                    G_TYPE_BOOLEAN, TRUE, GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT,
                                    G_TYPE_BOOLEAN, TRUE, nullptr);
}

}  // namespace live
