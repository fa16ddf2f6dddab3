#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {
        .key = "os_launchprocess_title_fmt",
        .en = "%1$S - %2$S password required",
        .de = "%1$S - Passwort für %2$S erforderlich",
        .es = "%1$S - Se requiere la contraseña de %2$S",
        .fr = "%1$S - Mot de passe %2$S requis",
        .pt = "%1$S - Senha de %2$S necessária",
    },
    {
        .key = "os_launchwithpipe_elevate_cancelled",
        .en = "Elevation cancelled or not supported.",
        .de = "Rechteerhöhung abgebrochen oder nicht unterstützt.",
        .es = "Elevación de privilegios cancelada o no admitida.",
        .fr = "Élévation des privilèges annulée ou non prise en charge.",
        .pt = "Elevação de privilégios cancelada ou sem suporte.",
    },
    {
        .key = "os_launchwithpipe_elevate_not_admin",
        .en = "Account not valid for elevation.",
        .de = "Konto für die Rechteerhöhung nicht zulässig.",
        .es = "Cuenta no válida para la elevación de privilegios.",
        .fr = "Compte non valide pour l’élévation des privilèges.",
        .pt = "Conta não válida para a elevação de privilégios.",
    },
    {
        .key = "os_logdestsyslog_facilityparam",
        .en = "Facility for the 'syslog' log destination to use, as an integer or name. Supported names: user, daemon, "
              "auth, authpriv (if available), security (if available), local0..local7",
        .de = "Kategorie (Facility) für das Protokollziel 'syslog', als Ganzzahl oder Name. Unterstützte Namen: user, "
              "daemon, auth, authpriv (falls verfügbar), security (falls verfügbar), local0..local7",
        .es = "Categoría (facility) para el destino de registro 'syslog', como número entero o nombre. Nombres "
              "admitidos: user, daemon, auth, authpriv (si está disponible), security (si está disponible), "
              "local0..local7",
        .fr = "Catégorie (facility) pour la destination de journal 'syslog', sous forme d’entier ou de nom. Noms pris "
              "en charge\u00a0: user, daemon, auth, authpriv (si disponible), security (si disponible), local0..local7",
        .pt = "Categoria (facility) para o destino de log 'syslog', como número inteiro ou nome. Nomes aceitos: user, "
              "daemon, auth, authpriv (se disponível), security (se disponível), local0..local7",
    },
    {
        .key = "os_websocket_connection_type",
        .en = "Direct WebSocket",
        .de = "Direkter WebSocket",
        .es = "WebSocket directo",
        .fr = "WebSocket direct",
        .pt = "WebSocket direto",
    },
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
