#include "inspectors/number_text.h"

#include <QLocale>

#include <cmath>
#include <numbers>

namespace zrkui {

namespace {

const QChar kMinus(0x2212);
const QChar kPi(0x3C0);
const QChar kRoot(0x221A);

/// Reads one expression by descent; `_ok` tells at the end whether it was one.
class Expression {
public:
    explicit Expression(const QString& text) : _text(text) {}

    std::optional<double> value()
    {
        const double result = sum();
        if (_ok && _at < _text.size()) {
            fail(_text[_at] == ')' ? "has a \")\" too many" : "has " + rest() + " where it should end");
        } else if (_ok && !std::isfinite(result)) {
            fail("is no finite number");
        }
        return _ok ? std::optional(result) : std::nullopt;
    }
    const QString& fault() const { return _fault; }

private:
    const QString& _text;
    int _at = 0;
    int _depth = 0;
    bool _ok = true;
    QString _fault; ///< the first one

    void fail(const QString& fault)
    {
        if (_ok) {
            _ok = false;
            _fault = fault;
        }
    }
    /// What stands here, up to the next sign.
    QString rest() const
    {
        int end = _at + 1;
        while (end < _text.size() && end < _at + 12 && _text[end].isLetterOrNumber() &&
               _text[_at].isLetter()) {
            ++end;
        }
        return '"' + _text.mid(_at, end - _at) + '"';
    }

    bool take(QChar c)
    {
        const bool found = _at < _text.size() && _text[_at] == c;
        _at += found ? 1 : 0;
        return found;
    }

    bool take(const char* word)
    {
        const QLatin1String text(word);
        const bool found = _text.mid(_at, text.size()) == text;
        _at += found ? static_cast<int>(text.size()) : 0;
        return found;
    }

    double sum()
    {
        double result = product();
        while (_ok) {
            if (take('+')) {
                result += product();
            } else if (take('-')) {
                result -= product();
            } else {
                break;
            }
        }
        return result;
    }

    double product()
    {
        double result = factor();
        while (_ok) {
            if (take('*')) {
                result *= factor();
            } else if (take('/')) {
                result /= factor();
            } else {
                break;
            }
        }
        return result;
    }

    double factor()
    {
        if (++_depth > 100) {
            fail("is nested too deeply");
        }
        double result = 0;
        if (!_ok) {
            return result;
        }
        if (take('-')) {
            result = -factor();
        } else if (take('+')) {
            result = factor();
        } else if (take(kRoot)) {
            result = std::sqrt(factor());
        } else {
            result = atom();
            if (_ok && (take('^') || take("**"))) {
                result = std::pow(result, factor());
            }
        }
        --_depth;
        return result;
    }

    double atom()
    {
        if (take("sqrt(")) {
            return std::sqrt(restOfBrackets());
        }
        if (take('(')) {
            return restOfBrackets();
        }
        if (take("pi") || take(kPi)) {
            return std::numbers::pi;
        }
        if (take('e')) {
            return std::numbers::e;
        }
        return digits();
    }

    double restOfBrackets()
    {
        const double result = sum();
        if (_ok && !take(')')) {
            fail("lacks a \")\"");
        }
        return result;
    }

    double digits()
    {
        const int begin = _at;
        const auto skipDigits = [&] {
            while (_at < _text.size() && _text[_at] >= '0' && _text[_at] <= '9') {
                ++_at;
            }
        };
        skipDigits();
        if (take('.')) {
            skipDigits();
        }
        const int mantissa = _at;
        if (take('e') || take('E')) {
            if (!take('-')) {
                take('+');
            }
            const int exponent = _at;
            skipDigits();
            if (_at == exponent) {
                _at = mantissa;
            }
        }
        bool isNumber = false;
        const double result = QLocale::c().toDouble(_text.mid(begin, _at - begin), &isNumber);
        if (!isNumber) {
            _at = begin;
            fail(begin == 0             ? QString("is no number")
                 : begin < _text.size() ? "has " + rest() + " where a number belongs"
                                        : QString("doesn't end"));
        }
        return result;
    }
};

QString plainText(QString text)
{
    text.replace(kMinus, '-');
    for (const int times : {0xD7, 0xB7, 0x22C5}) {
        text.replace(QChar(times), '*');
    }
    text.replace(QChar(0xF7), '/');
    return text.remove(' ');
}

} // namespace

std::optional<double> numberFromText(const QString& text)
{
    const QString plain = plainText(text);
    return Expression(plain).value();
}

QString numberFault(const QString& text)
{
    const QString plain = plainText(text);
    Expression expression(plain);
    expression.value();
    return expression.fault();
}

QString shortTextOfNumber(double value, int digits)
{
    QString text = QString::number(std::abs(value), 'e', digits - 1);
    text.replace("e+0", "e").replace("e+", "e").replace("e-0", "e-");
    return value < 0 ? kMinus + text : text;
}

QString textOfNumber(double value, int decimals)
{
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : kMinus + QString("inf");
    }
    const double size = std::abs(value);
    const bool fits =
        size == 0 || (size < (decimals == 0 ? 1e15 : 1e9) && size >= 0.5 * std::pow(10.0, -decimals));
    QString text = fits ? QString::number(size, 'f', decimals) : QString::number(size, 'g', 4);
    if (fits && text.contains('.')) {
        while (text.endsWith('0')) {
            text.chop(1);
        }
        if (text.endsWith('.')) {
            text.chop(1);
        }
    }
    return value < 0 ? kMinus + text : text;
}

} // namespace zrkui
