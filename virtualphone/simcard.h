#pragma once

#include <QByteArray>
#include <QString>

namespace virtualphone {

/// The card with the subscription, and the numbers that protect it.
class SimCard
{
public:
    enum class State {
        Ready,
        PinRequired,
        PukRequired, ///< a wrong PIN was entered three times
        Missing,
        Dead, ///< a wrong PUK was entered ten times
    };

    State state() const { return m_state; }

    /// Puts a card in, or takes it out. One that needs its PIN, or its PUK, is
    /// locked with it from then on; one that is ready is not.
    void insert(State state);

    /// What a new start of the phone does: the PIN is asked for again.
    void powerUp();

    /// Whether the card asks for its PIN when the phone is started.
    bool isLocked() const { return m_isLocked; }

    /// Enters the PIN. Three wrong ones in a row, and the PUK is required.
    bool enterPin(const QByteArray &pin);

    /// Enters the PUK, with a new PIN of four to eight digits.
    bool enterPuk(const QByteArray &puk, const QByteArray &newPin);

    /// Has the card ask for its PIN, or not; a wrong PIN counts as for enterPin().
    bool setLocked(bool isLocked, const QByteArray &pin);

private:
    bool isRight(const QByteArray &pin);

    State m_state = State::Ready;
    bool m_isLocked = false;
    QByteArray m_pin = "1234";
    int m_pinTries = 3;
    int m_pukTries = 10;
};

/// The texts that readCardState() takes.
inline constexpr char cardStates[] = "ready|pin|puk|none";

/// Reads one of them. False for any other text.
bool readCardState(const QString &text, SimCard::State *state);

} // namespace virtualphone
