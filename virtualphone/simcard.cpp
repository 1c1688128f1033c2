#include "virtualphone/simcard.h"

#include "virtualphone/commandparser.h"

namespace virtualphone {

namespace {

// Cards stand these many wrong ones (GSM 11.11).
const int pinTries = 3;
const int pukTries = 10;

const char puk[] = "12345678";

bool isPin(const QByteArray &text)
{
    return text.size() >= 4 && text.size() <= 8 && wholeNumber(text);
}

} // namespace

void SimCard::insert(State state)
{
    *this = {};
    m_state = state;
    m_isLocked = state == State::PinRequired || state == State::PukRequired;
    if (state == State::PukRequired)
        m_pinTries = 0;
}

void SimCard::powerUp()
{
    if (m_state == State::Ready && m_isLocked)
        m_state = State::PinRequired;
}

bool SimCard::isRight(const QByteArray &pin)
{
    if (pin == m_pin) {
        m_pinTries = pinTries;
        return true;
    }
    if (--m_pinTries == 0)
        m_state = State::PukRequired;
    return false;
}

bool SimCard::enterPin(const QByteArray &pin)
{
    if (m_state != State::PinRequired || !isRight(pin))
        return false;
    m_state = State::Ready;
    return true;
}

bool SimCard::enterPuk(const QByteArray &text, const QByteArray &newPin)
{
    if (m_state != State::PukRequired || !isPin(newPin))
        return false;
    if (text != puk) {
        if (--m_pukTries == 0)
            m_state = State::Dead;
        return false;
    }
    m_pin = newPin;
    m_pinTries = pinTries;
    m_pukTries = pukTries;
    m_state = State::Ready;
    return true;
}

bool SimCard::setLocked(bool isLocked, const QByteArray &pin)
{
    if (m_state != State::Ready || !isRight(pin))
        return false;
    m_isLocked = isLocked;
    return true;
}

bool readCardState(const QString &text, SimCard::State *state)
{
    if (text == "ready")
        *state = SimCard::State::Ready;
    else if (text == "pin")
        *state = SimCard::State::PinRequired;
    else if (text == "puk")
        *state = SimCard::State::PukRequired;
    else if (text == "none")
        *state = SimCard::State::Missing;
    else
        return false;
    return true;
}

} // namespace virtualphone
