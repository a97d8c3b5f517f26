#include <in/in_dns_idna.h>
#include <in/internal/in_dns_idna.h>
#include <pb/ascii.hpp>
#include <pb/containers.hpp>
#include <pb/ref.hpp>

#include <idn2.h>
#include <string_view>
#include <unictype.h>
#include <unistr.h>

// A name is split into labels. Plain ASCII labels are checked here. libidn2 checks labels that
// begin with xn-- or are not ASCII.

namespace
{

constexpr size_t mostOfLabel = 63, mostOfName = 253;

// The characters of a label's ASCII form: 2 for the hyphen, which is not allowed at the ends, 1 for
// the others, 0 for characters that are not allowed.
struct Alphabet
{
    unsigned char kind[256] = {};

    consteval Alphabet()
    {
        for( char c = 'a'; c <= 'z'; c++ )
            kind[(unsigned char)c] = kind[(unsigned char)( c - 32 )] = 1;
        for( char c = '0'; c <= '9'; c++ )
            kind[(unsigned char)c] = 1;
        kind[(unsigned char)'_'] = kind[(unsigned char)'*'] = 1;
        kind[(unsigned char)'-']                            = 2;
    }
};
constexpr Alphabet alphabet;

constexpr char lower( char c ) { return c >= 'A' && c <= 'Z' ? (char)( c + 32 ) : c; }

bool isIdna( std::string_view label )
{
    if( !pb::isAscii( label.data(), label.size() ) )
        return true;
    return label.size() >= 4 && lower( label[0] ) == 'x' && lower( label[1] ) == 'n' && label[2] == '-' && label[3] == '-';
}

bool hasIdna( std::string_view name )
{
    if( !pb::isAscii( name.data(), name.size() ) )
        return true;
    for( size_t hyphens = name.find( "--" ); hyphens != name.npos; hyphens = name.find( "--", hyphens + 1 ) )
    {
        if( hyphens >= 2 && isIdna( name.substr( hyphens - 2, 4 ) ) )
            return true;
    }
    return false;
}

// The reason why a label in ASCII form is bad; null if it is good.
const char *asciiProblem( std::string_view label )
{
    if( label.empty() )
        return "is empty";
    if( label.size() > mostOfLabel )
        return "has more than 63 characters in ASCII form";
    for( char c : label )
    {
        if( !alphabet.kind[(unsigned char)c] )
            return "has a character that is no letter, digit, hyphen, low line or asterisk";
    }
    if( label.front() == '-' || label.back() == '-' )
        return "begins or ends with a hyphen";
    return nullptr;
}

// Whether a name is four decimal numbers, as an IPv4 address is written.
bool isAddress( std::string_view name )
{
    int numbers = 1, digits = 0, value = 0;
    for( char c : name )
    {
        if( c == '.' && digits )
        {
            numbers++;
            digits = value = 0;
        }
        else if( c >= '0' && c <= '9' && ( digits == 0 || value ) && value <= 25 )
        {
            value = value * 10 + c - '0';
            digits++;
        }
        else
            return false;
        if( value > 255 )
            return false;
    }
    return numbers == 4 && digits;
}

std::string_view withoutLastStop( std::string_view name )
{
    if( name.ends_with( '.' ) )
        name.remove_suffix( 1 );
    return name;
}

// A name in plain ASCII, without a full stop at its end.
bool isPlainOk( std::string_view name )
{
    if( name.empty() || name.size() > mostOfName )
        return false;
    size_t        length = 0;
    unsigned char before = 0; // the kind of the character before
    for( char c : name )
    {
        unsigned char kind = alphabet.kind[(unsigned char)c];
        if( c == '.' )
        {
            if( length == 0 || before == 2 )
                return false;
            length = 0;
            continue;
        }
        if( !kind || ( kind == 2 && length == 0 ) || ++length > mostOfLabel )
            return false;
        before = kind;
    }
    return length > 0 && before != 2 && !isAddress( name );
}

// The full stops of UTS #46: U+3002, U+FF0E, U+FF61.
size_t stopAt( std::string_view name, size_t index )
{
    if( name[index] == '.' )
        return 1;
    for( std::string_view stop : { "\u3002", "\uFF0E", "\uFF61" } )
    {
        if( name.substr( index ).starts_with( stop ) )
            return stop.size();
    }
    return 0;
}

pb::StdVector<std::string_view> cut( std::string_view name )
{
    pb::StdVector<std::string_view> labels;
    size_t                          begin = 0;
    for( size_t index = 0; index < name.size(); )
    {
        size_t stop = stopAt( name, index );
        if( stop )
        {
            labels.push_back( name.substr( begin, index - begin ) );
            begin = index + stop;
        }
        index += stop ? stop : 1;
    }
    labels.push_back( name.substr( begin ) );
    // One full stop may be at the end.
    if( labels.size() > 1 && labels.back().empty() )
        labels.pop_back();
    return labels;
}

struct Freer
{
    char *text = nullptr;
    ~Freer() { idn2_free( text ); }
};

// The ASCII form of a label, by libidn2. If there is none, `problem` gives the reason.
pb::StdString<> idnaToAscii( std::string_view label, const char *&problem )
{
    pb::StdString<> text( label );
    Freer           ascii;
    int             verdict = idn2_lookup_u8( (const uint8_t *)text.c_str(), (uint8_t **)&ascii.text, IDN2_NONTRANSITIONAL );
    PB_CHECK( verdict != IDN2_MALLOC );
    problem = verdict == IDN2_OK ? nullptr : idn2_strerror( verdict );
    return problem ? "" : ascii.text;
}

pb::StdString<> idnaToUnicode( const pb::StdString<> &ascii )
{
    Freer unicode;
    int   verdict = idn2_to_unicode_8z8z( ascii.c_str(), &unicode.text, IDN2_NONTRANSITIONAL );
    PB_CHECK( verdict != IDN2_MALLOC );
    return verdict == IDN2_OK ? unicode.text : "";
}

// Bidirectional classes as a set of bits.
template<typename... Classes>
constexpr unsigned bits( Classes... classes )
{
    return ( ( 1u << classes ) | ... );
}
constexpr unsigned rightToLeft = bits( UC_BIDI_R, UC_BIDI_AL, UC_BIDI_AN );
constexpr unsigned neutral     = bits( UC_BIDI_EN, UC_BIDI_ES, UC_BIDI_CS, UC_BIDI_ET, UC_BIDI_ON, UC_BIDI_BN, UC_BIDI_NSM );

// The classes of the first character, of the last character before trailing marks (NSM), and of all
// characters.
struct BidiClasses
{
    unsigned first = 0, last = 0, all = 0;

    explicit BidiClasses( std::string_view label )
    {
        const uint8_t *text = (const uint8_t *)label.data();
        for( size_t index = 0; index < label.size(); )
        {
            ucs4_t character;
            index += (size_t)u8_mbtouc( &character, text + index, label.size() - index );
            unsigned one = bits( uc_bidi_class( character ) );
            first        = first ? first : one;
            last         = one == bits( UC_BIDI_NSM ) && last ? last : one;
            all |= one;
        }
    }
};

// The condition of the Bidi rule (RFC 5893, 2) that a label breaks; null if it breaks no condition.
const char *bidiProblem( std::string_view label )
{
    BidiClasses classes( label );
    if( classes.first == bits( UC_BIDI_L ) )
    {
        if( classes.all & ~( bits( UC_BIDI_L ) | neutral ) )
            return "begins with a left-to-right letter and has a right-to-left character";
        if( classes.last & ~bits( UC_BIDI_L, UC_BIDI_EN ) )
            return "does not end with a letter or digit, in a name with right-to-left characters";
        return nullptr;
    }
    if( !( classes.first & bits( UC_BIDI_R, UC_BIDI_AL ) ) )
        return "does not begin with a letter, in a name with right-to-left characters";
    if( classes.all & ~( rightToLeft | neutral ) )
        return "begins with a right-to-left letter and has a left-to-right character";
    if( classes.last & ~( rightToLeft | bits( UC_BIDI_EN ) ) )
        return "has right-to-left characters and does not end with a letter or digit";
    if( classes.all & bits( UC_BIDI_EN ) && classes.all & bits( UC_BIDI_AN ) )
        return "mixes European and Arabic-Indic digits";
    return nullptr;
}

// A name that was checked.
struct Name
{
    pb::StdVector<std::string_view> labels; // as they are written
    pb::StdVector<pb::StdString<>>  ascii, unicode;
    pb::StdString<>                 problem; // for people; empty if it is a domain name

    explicit Name( std::string_view name ) : labels( cut( name ) )
    {
        size_t length = 0;
        for( std::string_view label : labels )
        {
            const char *wrong = nullptr;
            bool        zero  = label.find( '\0' ) != label.npos; // libidn2 would stop there
            ascii.push_back( isIdna( label ) && !zero ? idnaToAscii( label, wrong ) : pb::StdString<>( label ) );
            wrong = wrong ? wrong : asciiProblem( ascii.back() );
            if( !wrong )
            {
                unicode.push_back( isIdna( ascii.back() ) ? idnaToUnicode( ascii.back() ) : ascii.back() );
                wrong = unicode.back().empty() ? "has no Unicode form" : nullptr;
            }
            if( wrong )
            {
                refuse( ascii.size(), wrong );
                return;
            }
            length += ascii.back().size() + 1;
            if( length - 1 > mostOfName )
            {
                problem = "it has more than 253 characters in ASCII form";
                return;
            }
        }
        if( isAddress( joined( ascii ) ) )
            problem = "it is an IP address";
        else if( isBidi() )
            checkBidi();
    }

    bool            ok() const { return problem.empty(); }
    pb::StdString<> asciiForm() const { return joined( ascii ); }
    pb::StdString<> unicodeForm() const { return joined( unicode ); }

private:
    static pb::StdString<> joined( const pb::StdVector<pb::StdString<>> &parts )
    {
        pb::StdString<> name;
        for( const pb::StdString<> &part : parts )
            name += ( name.empty() ? "" : "." ) + part;
        return name;
    }

    void refuse( size_t number, const char *why ) { problem = "label " + pb::decimal( (PB_INT)number ) + ": " + why; }

    bool isBidi() const
    {
        for( const pb::StdString<> &label : unicode )
        {
            if( BidiClasses( label ).all & rightToLeft )
                return true;
        }
        return false;
    }

    // If one label has right-to-left characters, all labels are checked. A lone asterisk stands for
    // a label that is not known yet.
    void checkBidi()
    {
        for( size_t index = 0; index < unicode.size() && ok(); index++ )
        {
            const char *wrong = unicode[index] == "*" ? nullptr : bidiProblem( unicode[index] );
            if( wrong )
                refuse( index + 1, wrong );
        }
    }
};

std::string_view view( PB_STRING *name )
{
    PB_INT      length;
    const char *text = pbStringPeekUtf8( name, &length );
    return { text, (size_t)length };
}

PB_STRING *string( std::string_view text ) { return pbStringCreateFromCstr( text.data(), (PB_INT)text.size() ); }

// Most names are plain ASCII. Their check allocates no memory.
bool isOk( std::string_view name )
{
    if( !hasIdna( name ) )
        return isPlainOk( withoutLastStop( name ) );
    return Name( name ).ok();
}

bool equalsIgnoringCase( std::string_view a, std::string_view b )
{
    if( a.size() != b.size() )
        return false;
    for( size_t index = 0; index < a.size(); index++ )
    {
        if( lower( a[index] ) != lower( b[index] ) )
            return false;
    }
    return true;
}

}

PB_BOOL inDnsIdnaDomainNameOk( PB_STRING *name ) { return PB_CHECK( name ), isOk( view( name ) ); }

PB_STRING *inDnsIdnaDomainNameToAscii( PB_STRING *name )
{
    PB_CHECK( name );
    std::string_view text = view( name );
    if( !hasIdna( text ) )
    {
        text = withoutLastStop( text );
        return isPlainOk( text ) ? string( text ) : nullptr;
    }
    Name parts( text );
    return parts.ok() ? string( parts.asciiForm() ) : nullptr;
}

PB_STRING *inDnsIdnaDomainNameToUnicode( PB_STRING *name )
{
    PB_CHECK( name );
    std::string_view text = view( name );
    if( !hasIdna( text ) )
        return inDnsIdnaDomainNameToAscii( name );
    Name parts( text );
    return parts.ok() ? string( parts.unicodeForm() ) : nullptr;
}

PB_BOOL inDnsIdnaDomainNameEquals( PB_STRING *nameA, PB_STRING *nameB )
{
    PB_CHECK( nameA );
    PB_CHECK( nameB );
    if( pbStringEquals( nameA, nameB ) )
        return PB_TRUE;
    std::string_view a = view( nameA ), b = view( nameB );
    if( !hasIdna( a ) && !hasIdna( b ) )
        return isOk( a ) && isOk( b ) && equalsIgnoringCase( withoutLastStop( a ), withoutLastStop( b ) );
    Name partsA( a ), partsB( b );
    return partsA.ok() && partsB.ok() && equalsIgnoringCase( partsA.asciiForm(), partsB.asciiForm() );
}

PB_VECTOR *in___DnsIdnaLabelsTrySplit( PB_STRING *name )
{
    PB_CHECK( name );
    std::string_view text = view( name );
    if( !isOk( text ) )
        return nullptr;
    PB_VECTOR *labels = pbVectorCreate();
    for( std::string_view label : cut( text ) )
        pbVectorAppendObj( &labels, pb::adopt( string( label ) ).obj() );
    return labels;
}

PB_STRING *in___DnsIdnaLabelsCompose( PB_VECTOR *labels )
{
    PB_CHECK( labels );
    PB_CHECK( pbVectorContainsOnly( labels, pbStringSort() ) );
    PB_STRING *name = pbStringCreate();
    for( PB_INT index = 0; index < pbVectorLength( labels ); index++ )
    {
        if( index )
            pbStringAppendChar( &name, '.' );
        pbStringAppend( &name, pbStringFrom( pb___VectorPeekObjAt( labels, index ) ) );
    }
    return name;
}

PB_STRING *in___DnsIdnaDomainNameProblem( PB_STRING *name )
{
    PB_CHECK( name );
    Name parts( view( name ) );
    return parts.ok() ? nullptr : string( parts.problem );
}
