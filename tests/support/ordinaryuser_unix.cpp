#include "tests/support/ordinaryuser.h"

#include <QtGlobal>

#include <unistd.h>

static constexpr unsigned nobody = 65534;

OrdinaryUser::OrdinaryUser() : m_wasAdministrator(::geteuid() == 0)
{
    if (m_wasAdministrator && (::setegid(nobody) != 0 || ::seteuid(nobody) != 0))
        qFatal("cannot give the rights up");
}

OrdinaryUser::~OrdinaryUser()
{
    if (m_wasAdministrator && (::seteuid(0) != 0 || ::setegid(0) != 0))
        qFatal("cannot take the rights back");
}
