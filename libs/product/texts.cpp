#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {
        .key = "product_about_fmt",
        .en = "About %S",
        .de = "Info zu %S",
        .es = "Acerca de %S",
        .fr = "À propos de %S",
        .pt = "Sobre %S",
    },
    {
        .key = "product_ack_intro",
        .en = "This product includes software by third parties.  Their notices are listed at:",
        .de = "Dieses Produkt enthält Software von Drittanbietern. Deren Hinweise sind aufgeführt unter:",
        .es = "Este producto incluye software de terceros. Los avisos correspondientes se encuentran en:",
        .fr = "Ce produit contient des logiciels tiers. Les mentions correspondantes se trouvent à l’adresse\u00a0:",
        .pt = "Este produto inclui software de terceiros. Os avisos correspondentes estão disponíveis em:",
    },
    {
        .key = "product_copyright",
        .en = "Copyright © 2026 Quenlar.  All rights reserved.",
        .de = "Copyright © 2026 Quenlar. Alle Rechte vorbehalten.",
        .es = "Copyright © 2026 Quenlar. Todos los derechos reservados.",
        .fr = "Copyright © 2026 Quenlar. Tous droits réservés.",
        .pt = "Copyright © 2026 Quenlar. Todos os direitos reservados.",
    },
    {
        .key = "product_further_info",
        .en = "Further information about this product: https://www.quenlar.example/fops",
        .de = "Weitere Informationen zu diesem Produkt: https://www.quenlar.example/fops",
        .es = "Más información sobre este producto: https://www.quenlar.example/fops",
        .fr = "Informations complémentaires sur ce produit\u00a0: https://www.quenlar.example/fops",
        .pt = "Mais informações sobre este produto: https://www.quenlar.example/fops",
    },
    {
        .key = "product_info_marked_up_fmt",
        .en = "<div><a href=\"%S\">Third-party notices</a></div>",
        .de = "<div><a href=\"%S\">Hinweise von Drittanbietern</a></div>",
        .es = "<div><a href=\"%S\">Avisos de terceros</a></div>",
        .fr = "<div><a href=\"%S\">Mentions des logiciels tiers</a></div>",
        .pt = "<div><a href=\"%S\">Avisos de terceiros</a></div>",
    },
    {
        .key = "product_patents",
        .en = "This product may be protected by patents.",
        .de = "Dieses Produkt ist möglicherweise durch Patente geschützt.",
        .es = "Este producto puede estar protegido por patentes.",
        .fr = "Ce produit peut être protégé par des brevets.",
        .pt = "Este produto pode estar protegido por patentes.",
    },
    {
        .key = "product_trademarks",
        .en = "Quenlar® is a registered trademark of its owner.",
        .de = "Quenlar® ist eine eingetragene Marke ihres Inhabers.",
        .es = "Quenlar® es una marca registrada de su propietario.",
        .fr = "Quenlar® est une marque déposée de son propriétaire.",
        .pt = "Quenlar® é uma marca registrada de seu proprietário.",
    },
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
