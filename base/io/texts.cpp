#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {
        .key = "io_dscp_param",
        .en = "Value to classify network traffic to provide Quality of Service.",
        .de = "Wert zur Klassifizierung des Netzwerkverkehrs, um Dienstgüte (QoS) bereitzustellen.",
        .es = "Valor con el que se clasifica el tráfico de red para ofrecer calidad de servicio.",
        .fr = "Valeur servant à classer le trafic réseau afin d’assurer la qualité de service.",
        .pt = "Valor usado para classificar o tráfego de rede a fim de oferecer qualidade de serviço.",
    },
    {
        .key = "io_error_eai_again",
        .en = "Temporary name lookup failure",
        .de = "Vorübergehender Fehler bei der Namensauflösung",
        .es = "Error temporal en la resolución de nombres",
        .fr = "Échec temporaire de la résolution de noms",
        .pt = "Falha temporária na resolução de nomes",
    },
    {
        .key = "io_error_eai_nodata",
        .en = "The requested name does not have an IP address",
        .de = "Der angeforderte Name hat keine IP-Adresse",
        .es = "El nombre solicitado no tiene ninguna dirección IP",
        .fr = "Le nom demandé n’a pas d’adresse IP",
        .pt = "O nome solicitado não tem um endereço IP",
    },
    {
        .key = "io_error_eai_noname",
        .en = "No such host is known",
        .de = "Es ist kein Host mit diesem Namen bekannt",
        .es = "No se conoce ningún host con ese nombre",
        .fr = "Aucun hôte de ce nom n’est connu",
        .pt = "Nenhum host com esse nome é conhecido",
    },
    {
        .key = "io_error_endpoint_badescape",
        .en = "Invalid endpoint: incorrect %% escape",
        .de = "Ungültiger Endpunkt: falsche %%-Escapesequenz",
        .es = "Punto de conexión no válido: secuencia de escape %% incorrecta",
        .fr = "Point de terminaison non valide\u00a0: séquence d’échappement %% incorrecte",
        .pt = "Ponto de extremidade inválido: sequência de escape %% incorreta",
    },
    {
        .key = "io_error_endpoint_badport",
        .en = "Invalid endpoint: port not correctly specified",
        .de = "Ungültiger Endpunkt: Port nicht korrekt angegeben",
        .es = "Punto de conexión no válido: puerto especificado incorrectamente",
        .fr = "Point de terminaison non valide\u00a0: port spécifié incorrectement",
        .pt = "Ponto de extremidade inválido: porta especificada incorretamente",
    },
    {
        .key = "io_error_endpoint_bracket",
        .en = "Invalid endpoint: unmatched \"[\" in host",
        .de = "Ungültiger Endpunkt: „[“ ohne Gegenstück im Host",
        .es = "Punto de conexión no válido: «[» sin correspondencia en el host",
        .fr = "Point de terminaison non valide\u00a0: «\u00a0[\u00a0» sans correspondance dans l’hôte",
        .pt = "Ponto de extremidade inválido: “[” sem correspondência no host",
    },
    {
        .key = "io_error_endpoint_empty",
        .en = "Invalid endpoint: empty host and/or port",
        .de = "Ungültiger Endpunkt: Host und/oder Port leer",
        .es = "Punto de conexión no válido: host o puerto vacíos",
        .fr = "Point de terminaison non valide\u00a0: hôte ou port vides",
        .pt = "Ponto de extremidade inválido: host ou porta vazios",
    },
    {
        .key = "io_error_endpoint_general",
        .en = "Invalid endpoint",
        .de = "Ungültiger Endpunkt",
        .es = "Punto de conexión no válido",
        .fr = "Point de terminaison non valide",
        .pt = "Ponto de extremidade inválido",
    },
    {
        .key = "io_error_ip_nethostunreach",
        .en = "No route to the host is known",
        .de = "Es ist keine Route zum Host bekannt",
        .es = "No se conoce ninguna ruta hacia el host",
        .fr = "Aucune route vers l’hôte n’est connue",
        .pt = "Nenhuma rota para o host é conhecida",
    },
    {
        .key = "io_error_proxy_disconnected",
        .en = "disconnected by proxy",
        .de = "vom Proxy getrennt",
        .es = "desconectado por el proxy",
        .fr = "déconnecté par le proxy",
        .pt = "desconectado pelo proxy",
    },
    {
        .key = "io_error_proxy_general",
        .en = "Unable to connect via %1$S: %2$S",
        .de = "Verbindung über %1$S nicht möglich: %2$S",
        .es = "No se puede establecer la conexión a través de %1$S: %2$S",
        .fr = "Impossible d’établir la connexion via %1$S\u00a0: %2$S",
        .pt = "Não foi possível estabelecer a conexão via %1$S: %2$S",
    },
    {
        .key = "io_error_tcp_conndropped",
        .en = "The connection was refused during establishment",
        .de = "Die Verbindung wurde während des Aufbaus abgelehnt",
        .es = "La conexión se rechazó durante su establecimiento",
        .fr = "La connexion a été refusée pendant son établissement",
        .pt = "A conexão foi recusada durante o estabelecimento",
    },
    {
        .key = "io_error_tcp_connrefused",
        .en = "The connection was refused by the computer",
        .de = "Die Verbindung wurde vom Computer abgelehnt",
        .es = "El equipo rechazó la conexión",
        .fr = "La connexion a été refusée par l’ordinateur",
        .pt = "A conexão foi recusada pelo computador",
    },
    {
        .key = "io_error_tcp_connreset",
        .en = "The connection was closed remotely",
        .de = "Die Verbindung wurde von der Gegenseite geschlossen",
        .es = "La conexión se cerró de forma remota",
        .fr = "La connexion a été fermée à distance",
        .pt = "A conexão foi encerrada remotamente",
    },
    {
        .key = "io_error_tcp_timedout",
        .en = "Timed out waiting for a response from the computer",
        .de = "Zeitüberschreitung beim Warten auf eine Antwort des Computers",
        .es = "Se agotó el tiempo de espera de una respuesta del equipo",
        .fr = "Délai d’attente d’une réponse de l’ordinateur dépassé",
        .pt = "O tempo limite de espera por uma resposta do computador foi excedido",
    },
    {
        .key = "io_param_blacklist_threshold",
        .en = "The number of unsuccessful authentication attempts that can be made before a particular connecting "
              "device is blacklisted for a timeout period.",
        .de = "Die Anzahl der erfolglosen Authentifizierungsversuche, die möglich sind, bevor ein Gerät, das eine "
              "Verbindung herstellt, für eine Sperrzeit auf die Sperrliste gesetzt wird.",
        .es = "Número de intentos de autenticación fallidos que se permiten antes de que el dispositivo que se conecta "
              "se incluya en la lista de bloqueo durante un período de bloqueo.",
        .fr = "Nombre de tentatives d’authentification infructueuses autorisées avant que l’appareil qui se connecte "
              "ne soit placé sur la liste de blocage pendant une période de blocage.",
        .pt = "O número de tentativas de autenticação malsucedidas permitidas antes que o dispositivo que se conecta "
              "seja incluído na lista de bloqueio por um período de bloqueio.",
    },
    {
        .key = "io_param_blacklist_timeout",
        .en = "The initial number of seconds during which connections from a blacklisted device are rejected before "
              "the connecting user can attempt to authenticate again.",
        .de = "Die anfängliche Anzahl von Sekunden, in denen Verbindungen von einem Gerät auf der Sperrliste abgelehnt "
              "werden, bevor der Benutzer erneut versuchen kann, sich zu authentifizieren.",
        .es = "Número inicial de segundos durante los que se rechazan las conexiones de un dispositivo incluido en la "
              "lista de bloqueo antes de que el usuario pueda volver a intentar autenticarse.",
        .fr = "Nombre initial de secondes pendant lesquelles les connexions d’un appareil placé sur la liste de "
              "blocage sont refusées avant que l’utilisateur ne puisse tenter de s’authentifier à nouveau.",
        .pt = "O número inicial de segundos durante os quais as conexões de um dispositivo incluído na lista de "
              "bloqueio são recusadas antes que o usuário possa tentar se autenticar novamente.",
    },
    {
        .key = "io_proxy_connection_desc",
        .en = "Direct TCP via proxy settings",
        .de = "Direktes TCP über Proxyeinstellungen",
        .es = "TCP directo a través de la configuración de proxy",
        .fr = "TCP direct via la configuration de proxy",
        .pt = "TCP direto via configurações de proxy",
    },
    {
        .key = "io_socks5_connection_type",
        .en = "Direct TCP via SOCKS5 proxy %S",
        .de = "Direktes TCP über SOCKS5-Proxy %S",
        .es = "TCP directo a través del proxy SOCKS5 %S",
        .fr = "TCP direct via le proxy SOCKS5 %S",
        .pt = "TCP direto via proxy SOCKS5 %S",
    },
    {
        .key = "io_tcp_connection_type",
        .en = "Direct TCP",
        .de = "Direktes TCP",
        .es = "TCP directo",
        .fr = "TCP direct",
        .pt = "TCP direto",
    },
    {
        .key = "io_udp_connection_type",
        .en = "Direct UDP",
        .de = "Direktes UDP",
        .es = "UDP directo",
        .fr = "UDP direct",
        .pt = "UDP direto",
    },
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
