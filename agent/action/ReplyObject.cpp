#include "agent/action/ReplyObject.h"

#include "base/Text.h"

#include <QLocale>

#include <nlohmann/json.hpp>

#include <cmath>
#include <utility>

namespace {
// "1e-07" → "1e-7", "1e+20" → "1e20": the library writes exponents with two digits and a sign.
QString withShortExponent(QString text)
{
    qsizetype at = text.indexOf(u'e') + 1;
    if (at == 0)
        return text;
    if (text[at] == u'-')
        ++at;
    else if (text[at] == u'+')
        text.remove(at, 1);
    while (at + 1 < text.size() && text[at] == u'0')
        text.remove(at, 1);
    return text;
}

QString numberText(double number)
{
    // A double represents every integer below 2^53 exactly.
    constexpr double exactIntegers = 9007199254740992.0;
    if (std::abs(number) < exactIntegers && number == std::trunc(number))
        return QString::number(static_cast<qint64>(number));
    return withShortExponent(QString::number(number, 'g', QLocale::FloatingPointShortest));
}

// Handles the parser's SAX events instead of building a tree: a reply may be nested to any depth,
// and only the members of the top level and of the objects right below it matter.
class MemberReader final : public nlohmann::json_sax<nlohmann::json>
{
public:
    [[nodiscard]] std::optional<ReplyObject> take()
    {
        if (!m_topIsObject)
            return std::nullopt;
        return std::move(m_object);
    }

    bool null() override { return value({}, u"null"); }
    bool boolean(bool yes) override { return text(yes ? u"1" : u"0"); }
    bool number_integer(number_integer_t number) override { return text(QString::number(number)); }
    bool number_unsigned(number_unsigned_t number) override
    {
        return text(QString::number(number));
    }
    bool number_float(number_float_t number, const string_t &) override
    {
        return text(numberText(number));
    }
    bool string(string_t &utf8) override
    {
        const QString string = Text::fromUtf8(utf8);
        return value({.isString = true, .text = string}, string);
    }
    bool binary(binary_t &) override { return false; }

    bool start_object(std::size_t) override
    {
        if (m_depth == 0)
            m_topIsObject = true;
        else
            value({.isObject = true}, u"{}");
        ++m_depth;
        m_objectsInArray += inArray() ? 1 : 0;
        return true;
    }
    bool end_object() override
    {
        --m_depth;
        m_objectsInArray -= inArray() ? 1 : 0;
        return true;
    }

    bool start_array(std::size_t) override
    {
        if (!inArray()) {
            m_arrayDepth = m_depth;
            m_elements.clear();
            m_isFirstElement = true;
        }
        ++m_depth;
        return true;
    }
    bool end_array() override
    {
        --m_depth;
        if (m_depth == m_arrayDepth) {
            m_arrayDepth = noArray;
            text(std::exchange(m_elements, {}));
        }
        return true;
    }

    bool key(string_t &utf8) override
    {
        if (!inArray() && m_depth == 1)
            m_key = Text::fromUtf8(utf8);
        else if (!inArray() && m_depth == 2)
            m_field = Text::fromUtf8(utf8);
        return true;
    }

    bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &) override
    {
        return false;
    }

private:
    static constexpr qsizetype noArray = -1;

    /// Inside an array, at any depth.
    [[nodiscard]] bool inArray() const { return m_arrayDepth != noArray; }

    bool text(QStringView content) { return value({.text = content.toString()}, content); }

    // Stores a value according to its position: as an element of the surrounding array, as a
    // top-level member, or as a field of such a member; deeper ones are dropped. Elements of nested
    // arrays are added to the outermost array; members of an object in an array are dropped.
    bool value(const ReplyObject::Member &member, QStringView element)
    {
        if (inArray()) {
            if (m_objectsInArray == 0) {
                if (!std::exchange(m_isFirstElement, false))
                    m_elements += u'+';
                m_elements += element;
            }
        } else if (m_depth == 1) {
            m_object.members.insert(m_key, member);
        } else if (m_depth == 2) {
            setField(member.text);
        }
        return true;
    }

    void setField(const std::optional<QString> &content)
    {
        QMap<QString, QString> &fields = m_object.members[m_key].fields;
        if (content)
            fields.insert(m_field, *content);
        else
            fields.remove(m_field);
    }

    ReplyObject m_object;
    bool m_topIsObject = false;
    qsizetype m_depth = 0; ///< Number of objects and arrays around the current position.
    QString m_key;         ///< The top-level member that is being read.
    QString m_field;       ///< The field inside that member.
    qsizetype m_arrayDepth =
        noArray; ///< The depth of the outermost array around the current position.
    qsizetype m_objectsInArray = 0;
    QString m_elements;
    bool m_isFirstElement = true;
};
} // namespace

std::optional<ReplyObject> ReplyObject::decode(const QByteArray &utf8)
{
    MemberReader reader;
    if (!nlohmann::json::sax_parse(utf8.begin(), utf8.end(), &reader))
        return std::nullopt;
    return reader.take();
}
