#include "virtualphone/commands/call.h"

namespace virtualphone {

std::optional<int> basicValue(const Call &call)
{
    return call.command.parameter.isEmpty() ? 0 : wholeNumber(call.command.parameter);
}

Result setBasic(const Call &call, int *value, int maximum)
{
    const std::optional<int> wanted = basicValue(call);
    if (!wanted || *wanted > maximum)
        return ResultCode::Error;
    *value = *wanted;
    return ResultCode::Ok;
}

Result setBasic(const Call &call, bool *flag)
{
    int value = 0;
    const Result result = setBasic(call, &value, 1);
    if (result.code == ResultCode::Ok)
        *flag = value == 1;
    return result;
}

Result numberParameter(Call &call, int *value, int maximum)
{
    switch (call.command.form) {
    case ReadForm:
        call.say(QByteArray::number(*value));
        return ResultCode::Ok;
    case TestForm:
        call.say(maximum == 1 ? "(0,1)" : "(0-" + QByteArray::number(maximum) + ')');
        return ResultCode::Ok;
    default:
        break;
    }
    const std::optional<int> wanted = wholeNumber(call.command.parameter);
    if (!wanted || *wanted > maximum)
        return ResultCode::Error;
    *value = *wanted;
    return ResultCode::Ok;
}

std::optional<QList<int>> numberParameters(const Call &call, int least, int most)
{
    const std::optional<QList<Parameter>> parameters = splitParameters(call.command.parameter);
    if (!parameters || parameters->size() < least || parameters->size() > most)
        return std::nullopt;
    QList<int> numbers;
    for (const Parameter &parameter : *parameters) {
        const std::optional<int> number = wholeNumber(parameter.value);
        if (parameter.quoted || !number)
            return std::nullopt;
        numbers += *number;
    }
    return numbers;
}

PhoneError cardError(const ModemState &modem)
{
    switch (modem.card.state()) {
    case SimCard::State::Ready:
        break;
    case SimCard::State::PinRequired:
        return PhoneError::PinRequired;
    case SimCard::State::PukRequired:
        return PhoneError::PukRequired;
    case SimCard::State::Missing:
        return PhoneError::CardMissing;
    case SimCard::State::Dead:
        return PhoneError::CardFailure;
    }
    return PhoneError::None;
}

} // namespace virtualphone
