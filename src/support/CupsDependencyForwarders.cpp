// CupsDependencyForwarders: the TLS, Kerberos and DNS-SD functions that the statically linked
// libcups members refer to, opened on first call.
//
// The filter takes from libcups only the command-file reader and the backend channels, but
// those members pull in libcups' HTTP code, which refers to GnuTLS, GSSAPI and Avahi. Loading
// those libraries at start costs every command job about 2 ms of CPU time and 5 MiB; none of
// them is called on the filter's own paths. Each function below opens its library on its first
// call and then goes straight to the real function, so any code that does reach one still gets
// the real behaviour. The prototypes come from the libraries' own headers, so a mismatch does
// not compile.
#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/simple-watch.h>
#include <avahi-common/strlst.h>
#include <gnutls/abstract.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <gssapi/gssapi.h>

#include "support/LazyLibrary.h"

namespace {
LazyLibrary& gnutls() {
    static LazyLibrary* library = new LazyLibrary({"libgnutls.so.30", "libgnutls.so"});
    return *library;
}
LazyLibrary& gssapi() {
    static LazyLibrary* library = new LazyLibrary({"libgssapi_krb5.so.2", "libgssapi_krb5.so"});
    return *library;
}
LazyLibrary& avahiClient() {
    static LazyLibrary* library = new LazyLibrary({"libavahi-client.so.3", "libavahi-client.so"});
    return *library;
}
LazyLibrary& avahiCommon() {
    static LazyLibrary* library = new LazyLibrary({"libavahi-common.so.3", "libavahi-common.so"});
    return *library;
}

const char* const kNoTls = "The TLS library (libgnutls) is not installed";

// RFC 2743's host-based service name type, 1.2.840.113554.1.2.1.4. GSSAPI compares name
// types by value, so this copy stands for the library's own without loading it.
char hostBasedServiceOidBytes[] = "\x2a\x86\x48\x86\xf7\x12\x01\x02\x01\x04";
gss_OID_desc hostBasedServiceOid = {10, hostBasedServiceOidBytes};
}  // namespace

extern "C" {
gss_OID GSS_C_NT_HOSTBASED_SERVICE = &hostBasedServiceOid;
}

CFF_LAZY_FORWARD_VOID(avahiClient(), avahi_client_free, (AvahiClient* client), (client))
CFF_LAZY_FORWARD(avahiClient(), AvahiClient*, avahi_client_new,
                 (const AvahiPoll* poll_api, AvahiClientFlags flags, AvahiClientCallback callback, void* userdata,
                  int* error),
                 (poll_api, flags, callback, userdata, error), nullptr)
CFF_LAZY_FORWARD_VOID(avahiCommon(), avahi_free, (void* p), (p))
CFF_LAZY_FORWARD(avahiClient(), int, avahi_service_resolver_free, (AvahiServiceResolver* r), (r),
                 AVAHI_ERR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(avahiClient(), AvahiServiceResolver*, avahi_service_resolver_new,
                 (AvahiClient* client, AvahiIfIndex interface, AvahiProtocol protocol, const char* name,
                  const char* type, const char* domain, AvahiProtocol aprotocol, AvahiLookupFlags flags,
                  AvahiServiceResolverCallback callback, void* userdata),
                 (client, interface, protocol, name, type, domain, aprotocol, flags, callback, userdata), nullptr)
CFF_LAZY_FORWARD_VOID(avahiCommon(), avahi_simple_poll_free, (AvahiSimplePoll* s), (s))
CFF_LAZY_FORWARD(avahiCommon(), const AvahiPoll*, avahi_simple_poll_get, (AvahiSimplePoll* s), (s), nullptr)
CFF_LAZY_FORWARD(avahiCommon(), int, avahi_simple_poll_iterate, (AvahiSimplePoll* s, int sleep_time), (s, sleep_time),
                 -1)
CFF_LAZY_FORWARD(avahiCommon(), AvahiSimplePoll*, avahi_simple_poll_new, (), (), nullptr)
CFF_LAZY_FORWARD_VOID(avahiCommon(), avahi_simple_poll_quit, (AvahiSimplePoll* s), (s))
CFF_LAZY_FORWARD_VOID(avahiCommon(), avahi_simple_poll_set_func,
                      (AvahiSimplePoll* s, AvahiPollFunc func, void* userdata), (s, func, userdata))
CFF_LAZY_FORWARD(avahiCommon(), AvahiStringList*, avahi_string_list_find, (AvahiStringList* l, const char* key),
                 (l, key), nullptr)
CFF_LAZY_FORWARD(avahiCommon(), int, avahi_string_list_get_pair,
                 (AvahiStringList* l, char** key, char** value, size_t* size), (l, key, value, size),
                 AVAHI_ERR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_bye, (gnutls_session_t session, gnutls_close_request_t how), (session, how),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_certificate_allocate_credentials, (gnutls_certificate_credentials_t* res),
                 (res), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_certificate_free_credentials, (gnutls_certificate_credentials_t sc), (sc))
CFF_LAZY_FORWARD(gnutls(), const gnutls_datum_t*, gnutls_certificate_get_peers,
                 (gnutls_session_t session, unsigned int* list_size), (session, list_size), nullptr)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_certificate_set_x509_key_file,
                 (gnutls_certificate_credentials_t res, const char* certfile, const char* keyfile,
                  gnutls_x509_crt_fmt_t type),
                 (res, certfile, keyfile, type), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_credentials_set,
                 (gnutls_session_t session, gnutls_credentials_type_t type, void* cred), (session, type, cred),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_deinit, (gnutls_session_t session), (session))
CFF_LAZY_FORWARD(gnutls(), int, gnutls_error_is_fatal, (int error), (error), 1)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_global_init, (), (), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_handshake, (gnutls_session_t session), (session), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_hash_fast,
                 (gnutls_digest_algorithm_t algorithm, const void* text, size_t textlen, void* digest),
                 (algorithm, text, textlen, digest), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), unsigned, gnutls_hash_get_len, (gnutls_digest_algorithm_t algorithm), (algorithm), 0)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_init, (gnutls_session_t* session, unsigned int flags), (session, flags),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_priority_set_direct,
                 (gnutls_session_t session, const char* priorities, const char** err_pos),
                 (session, priorities, err_pos), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), size_t, gnutls_record_check_pending, (gnutls_session_t session), (session), 0)
CFF_LAZY_FORWARD(gnutls(), ssize_t, gnutls_record_recv, (gnutls_session_t session, void* data, size_t data_size),
                 (session, data, data_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), ssize_t, gnutls_record_send, (gnutls_session_t session, const void* data, size_t data_size),
                 (session, data, data_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_server_name_set,
                 (gnutls_session_t session, gnutls_server_name_type_t type, const void* name, size_t name_length),
                 (session, type, name, name_length), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_set_default_priority, (gnutls_session_t session), (session),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), const char*, gnutls_sign_get_name, (gnutls_sign_algorithm_t algorithm), (algorithm), kNoTls)
CFF_LAZY_FORWARD(gnutls(), const char*, gnutls_strerror, (int error), (error), kNoTls)
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_transport_set_ptr, (gnutls_session_t session, gnutls_transport_ptr_t ptr),
                      (session, ptr))
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_transport_set_pull_function,
                      (gnutls_session_t session, gnutls_pull_func pull_func), (session, pull_func))
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_transport_set_pull_timeout_function,
                      (gnutls_session_t session, gnutls_pull_timeout_func func), (session, func))
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_transport_set_push_function,
                      (gnutls_session_t session, gnutls_push_func push_func), (session, push_func))
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crl_get_crt_count, (gnutls_x509_crl_t crl), (crl), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crl_import,
                 (gnutls_x509_crl_t crl, const gnutls_datum_t* data, gnutls_x509_crt_fmt_t format), (crl, data, format),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crl_init, (gnutls_x509_crl_t* crl), (crl), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crl_iter_crt_serial,
                 (gnutls_x509_crl_t crl, gnutls_x509_crl_iter_t* iter, unsigned char* serial, size_t* serial_size,
                  time_t* t),
                 (crl, iter, serial, serial_size, t), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_x509_crl_iter_deinit, (gnutls_x509_crl_iter_t iter), (iter))
CFF_LAZY_FORWARD(gnutls(), unsigned, gnutls_x509_crt_check_hostname, (gnutls_x509_crt_t cert, const char* hostname),
                 (cert, hostname), 0)
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_x509_crt_deinit, (gnutls_x509_crt_t cert), (cert))
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_export,
                 (gnutls_x509_crt_t cert, gnutls_x509_crt_fmt_t format, void* output_data, size_t* output_data_size),
                 (cert, format, output_data, output_data_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), time_t, gnutls_x509_crt_get_activation_time, (gnutls_x509_crt_t cert), (cert), -1)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_get_dn_by_oid,
                 (gnutls_x509_crt_t cert, const char* oid, unsigned indx, unsigned int raw_flag, void* buf,
                  size_t* buf_size),
                 (cert, oid, indx, raw_flag, buf, buf_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), time_t, gnutls_x509_crt_get_expiration_time, (gnutls_x509_crt_t cert), (cert), -1)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_get_issuer_dn_by_oid,
                 (gnutls_x509_crt_t cert, const char* oid, unsigned indx, unsigned int raw_flag, void* buf,
                  size_t* buf_size),
                 (cert, oid, indx, raw_flag, buf, buf_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_get_key_id,
                 (gnutls_x509_crt_t crt, unsigned int flags, unsigned char* output_data, size_t* output_data_size),
                 (crt, flags, output_data, output_data_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_get_serial, (gnutls_x509_crt_t cert, void* result, size_t* result_size),
                 (cert, result, result_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_get_signature_algorithm, (gnutls_x509_crt_t cert), (cert),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_import,
                 (gnutls_x509_crt_t cert, const gnutls_datum_t* data, gnutls_x509_crt_fmt_t format),
                 (cert, data, format), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_init, (gnutls_x509_crt_t* cert), (cert), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_activation_time, (gnutls_x509_crt_t cert, time_t act_time),
                 (cert, act_time), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_ca_status, (gnutls_x509_crt_t crt, unsigned int ca), (crt, ca),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_dn_by_oid,
                 (gnutls_x509_crt_t crt, const char* oid, unsigned int raw_flag, const void* name,
                  unsigned int sizeof_name),
                 (crt, oid, raw_flag, name, sizeof_name), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_expiration_time, (gnutls_x509_crt_t cert, time_t exp_time),
                 (cert, exp_time), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_key, (gnutls_x509_crt_t crt, gnutls_x509_privkey_t key), (crt, key),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_key_purpose_oid,
                 (gnutls_x509_crt_t cert, const void* oid, unsigned int critical), (cert, oid, critical),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_key_usage, (gnutls_x509_crt_t crt, unsigned int usage),
                 (crt, usage), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_serial,
                 (gnutls_x509_crt_t cert, const void* serial, size_t serial_size), (cert, serial, serial_size),
                 GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_subject_alt_name,
                 (gnutls_x509_crt_t crt, gnutls_x509_subject_alt_name_t type, const void* data, unsigned int data_size,
                  unsigned int flags),
                 (crt, type, data, data_size, flags), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_subject_key_id,
                 (gnutls_x509_crt_t cert, const void* id, size_t id_size), (cert, id, id_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_set_version, (gnutls_x509_crt_t crt, unsigned int version),
                 (crt, version), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_crt_sign,
                 (gnutls_x509_crt_t crt, gnutls_x509_crt_t issuer, gnutls_x509_privkey_t issuer_key),
                 (crt, issuer, issuer_key), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD_VOID(gnutls(), gnutls_x509_privkey_deinit, (gnutls_x509_privkey_t key), (key))
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_privkey_export,
                 (gnutls_x509_privkey_t key, gnutls_x509_crt_fmt_t format, void* output_data, size_t* output_data_size),
                 (key, format, output_data, output_data_size), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_privkey_generate,
                 (gnutls_x509_privkey_t key, gnutls_pk_algorithm_t algo, unsigned int bits, unsigned int flags),
                 (key, algo, bits, flags), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gnutls(), int, gnutls_x509_privkey_init, (gnutls_x509_privkey_t* key), (key), GNUTLS_E_INTERNAL_ERROR)
CFF_LAZY_FORWARD(gssapi(), OM_uint32, gss_delete_sec_context,
                 (OM_uint32* minor, gss_ctx_id_t* context, gss_buffer_t token), (minor, context, token),
                 GSS_S_UNAVAILABLE)
CFF_LAZY_FORWARD(gssapi(), OM_uint32, gss_import_name,
                 (OM_uint32* minor, gss_buffer_t text, gss_OID type, gss_name_t* name), (minor, text, type, name),
                 GSS_S_UNAVAILABLE)
CFF_LAZY_FORWARD(gssapi(), OM_uint32, gss_init_sec_context,
                 (OM_uint32* minor, gss_cred_id_t credentials, gss_ctx_id_t* context, gss_name_t target,
                  gss_OID mechanism, OM_uint32 flags, OM_uint32 lifetime, gss_channel_bindings_t bindings,
                  gss_buffer_t input, gss_OID* actualMechanism, gss_buffer_t output, OM_uint32* returnedFlags,
                  OM_uint32* returnedLifetime),
                 (minor, credentials, context, target, mechanism, flags, lifetime, bindings, input, actualMechanism,
                  output, returnedFlags, returnedLifetime),
                 GSS_S_UNAVAILABLE)
CFF_LAZY_FORWARD(gssapi(), OM_uint32, gss_release_buffer, (OM_uint32* minor, gss_buffer_t buffer), (minor, buffer),
                 GSS_S_UNAVAILABLE)
CFF_LAZY_FORWARD(gssapi(), OM_uint32, gss_release_name, (OM_uint32* minor, gss_name_t* name), (minor, name),
                 GSS_S_UNAVAILABLE)
