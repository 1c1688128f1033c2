#pragma once

/// While it lives, files are open to this process as to an ordinary user that
/// owns none of them, so that missing rights can be tried by an administrator
/// too. A process without an administrator's rights keeps those that it has.
class OrdinaryUser
{
public:
    OrdinaryUser();
    ~OrdinaryUser();
    OrdinaryUser(const OrdinaryUser &) = delete;
    OrdinaryUser &operator=(const OrdinaryUser &) = delete;

private:
    bool m_wasAdministrator = false;
};
