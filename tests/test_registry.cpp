// Tests of the type registry, reflection and TValue, over a small application
// model that uses every kind of member that has a serialized form.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "uXoRtti.h"
#include "uXoTypes.h"

using namespace xo;

namespace demo {

enum class TColor : uint8_t { clRed, clGreen, clBlue };
XO_ENUM(TColor, u"uDemo.TColor", u"clRed", u"clGreen", u"clBlue")
using TColors = TSet<TColor>;
XO_REGISTER(TColors, u"uDemo.TColors")

struct TPoint {
  int32_t X = 0;
  int32_t Y = 0;
};
XO_DESCRIBE(TPoint, u"uDemo.TPoint", r) {
  r.field(u"X", &TPoint::X);
  r.field(u"Y", &TPoint::Y);
}

// A record with a private member.
struct TSecretRec {
  XO_RECORD(TSecretRec)
  int32_t Visible = 1;
  int32_t Hidden() const { return FHidden; }

private:
  int32_t FHidden = 2;
};
XO_DESCRIBE(TSecretRec, u"uDemo.TSecretRec", r) {
  r.field(u"Visible", &TSecretRec::Visible);
  r.field(u"FHidden", &TSecretRec::FHidden, mvPrivate);
}

class IShape : public virtual IInterface {
public:
  virtual double Area() const = 0;
};
XO_DESCRIBE(IShape, u"uDemo.IShape", i) { i.inherits<IInterface>(); }

class TSquare : public TXoObject, public IShape {
  XO_CLASS(TSquare, TXoObject)
public:
  double Side = 2;
  double Area() const override { return Side * Side; }
};
XO_DESCRIBE(TSquare, u"uDemo.TSquare", c) { c.field(u"Side", &TSquare::Side); }

class TAddress : public TXoObject {
  XO_CLASS(TAddress, TXoObject)
public:
  std::u16string Street;
  int32_t Number = 0;
};
XO_DESCRIBE(TAddress, u"uDemo.TAddress", c) {
  c.field(u"Street", &TAddress::Street);
  c.field(u"Number", &TAddress::Number);
}

// An annotation of the application, and a hint-like one built by hint<>().
class TMaxLength : public TCustomAttribute {
public:
  explicit TMaxLength(int32_t AValue) : Value(AValue) {}
  int32_t Value;
};
enum TDemoHintOption { dhoName, dhoSkip };
class TDemoHint : public TCustomAttribute {
public:
  TDemoHint(TDemoHintOption AOption, std::u16string AValue) : Option(AOption), Value(std::move(AValue)) {}
  TDemoHintOption Option;
  std::u16string Value;
};

class TBase : public TXoObject {
  XO_CLASS(TBase, TXoObject)
public:
  int32_t Id = 0;
  const std::u16string& GetName() const { return FName; }
  void SetName(const std::u16string& AValue) { FName = AValue; }
  int64_t Secret() const { return FSecret; }

protected:
  int32_t FLevel = 3;

private:
  std::u16string FName;
  int64_t FSecret = 42;
};
XO_DESCRIBE(TBase, u"uDemo.TBase", c) {
  c.property(u"Name", &TBase::GetName, &TBase::SetName).attribute(new TMaxLength(40));
  c.field(u"Id", &TBase::Id);
  c.field(u"FLevel", &TBase::FLevel, mvProtected);
  c.field(u"FName", &TBase::FName, mvPrivate);
  c.field(u"FSecret", &TBase::FSecret, mvPrivate);
}

class TPerson : public TBase {
  XO_CLASS(TPerson, TBase)
public:
  TPerson() : Address(new TAddress) {}
  ~TPerson() override { delete Address; }

  uint8_t B = 1;
  uint16_t W = 2;
  uint32_t C = 3;
  uint64_t U64 = 4;
  int8_t S8 = -5;
  int16_t S16 = -6;
  int64_t I64 = -8;
  float F = 1.5f;
  double D = 2.25;
  long double E = 3.5L;
  char16_t Ch = u'x';
  char AnsiCh = 'y';
  std::u16string Str = u"text";
  std::string Ansi = "ansi";
  std::u16string Wide = u"wide";
  bool Flag = true;
  TColor Color = TColor::clGreen;
  TColors Colors{TColor::clRed, TColor::clBlue};
  TDate Born = 45000;
  TTime Wake = 0.25;
  TDateTime Stamp = 45000.5;
  Variant V = Variant(int32_t(7));
  TPoint Pos{1, 2};
  std::array<int32_t, 3> Fixed{{1, 2, 3}};
  std::vector<std::u16string> Tags{u"a", u"b"};
  std::vector<TPoint> Path;
  TAddress* Address;  // owned
  TIntfPtr<IShape> Shape;
  TClassRef<TBase> Kind;
  std::function<void(TObject*, int32_t)> OnChange;
  TPerson* Friend = nullptr;  // refers to its own class
  TValue Extra;

  int32_t GetAge() const { return FAge; }
  void SetAge(int32_t AValue) { FAge = AValue; }
  void SetPin(int32_t AValue) { FPin = AValue; }
  int32_t Pin() const { return FPin; }
  std::u16string GetItem(int32_t AIndex) const { return FItems.at(static_cast<size_t>(AIndex)); }
  void SetItem(int32_t AIndex, std::u16string AValue) { FItems.at(static_cast<size_t>(AIndex)) = std::move(AValue); }
  int32_t Add(int32_t A, int32_t B2) const { return A + B2; }
  static std::u16string Greet(std::u16string AName) { return u"Hello " + AName; }

private:
  int32_t FAge = 30;
  int32_t FPin = 0;
  std::vector<std::u16string> FItems{u"i0", u"i1"};
};
XO_DESCRIBE(TPerson, u"uDemo.TPerson", c) {
  c.property(u"Age", &TPerson::GetAge, &TPerson::SetAge);
  c.property(u"Pin", nullptr, &TPerson::SetPin);
  c.property(u"Double", [](TPerson& p) { return p.GetAge() * 2; }, mvPublic);
  c.property(u"FAgeProp", &TPerson::FAge, mvPrivate);
  c.indexed_property(u"Items", &TPerson::GetItem, &TPerson::SetItem);
  c.method(u"Add", &TPerson::Add, {u"A", u"B"});
  c.method(u"Greet", &TPerson::Greet);
  c.field(u"B", &TPerson::B);
  c.field(u"W", &TPerson::W);
  c.field(u"C", &TPerson::C);
  c.field(u"U64", &TPerson::U64);
  c.field(u"S8", &TPerson::S8);
  c.field(u"S16", &TPerson::S16);
  c.field(u"I64", &TPerson::I64);
  c.field(u"F", &TPerson::F);
  c.field(u"D", &TPerson::D);
  c.field(u"E", &TPerson::E);
  c.field(u"Ch", &TPerson::Ch);
  c.field(u"AnsiCh", &TPerson::AnsiCh);
  c.field(u"Str", &TPerson::Str).hint<TDemoHint>(dhoName, u"string");
  c.field(u"Ansi", &TPerson::Ansi);
  c.field(u"Wide", &TPerson::Wide).as<TWideStringTag>();
  c.field(u"Flag", &TPerson::Flag);
  c.field(u"Color", &TPerson::Color);
  c.field(u"Colors", &TPerson::Colors);
  c.field(u"Born", &TPerson::Born).as<TDateTag>();
  c.field(u"Wake", &TPerson::Wake).as<TTimeTag>();
  c.field(u"Stamp", &TPerson::Stamp).as<TDateTimeTag>();
  c.field(u"V", &TPerson::V);
  c.field(u"Pos", &TPerson::Pos);
  c.field(u"Fixed", &TPerson::Fixed);
  c.field(u"Tags", &TPerson::Tags);
  c.field(u"Path", &TPerson::Path);
  c.field(u"Address", &TPerson::Address);
  c.field(u"Shape", &TPerson::Shape);
  c.field(u"Kind", &TPerson::Kind);
  c.field(u"OnChange", &TPerson::OnChange);
  c.field(u"Friend", &TPerson::Friend);
  c.field(u"Extra", &TPerson::Extra);
  c.field(u"FAge", &TPerson::FAge, mvPrivate);
}

// A class that is not described: reflection sees it as its nearest
// described ancestor.
class TEmployee : public TPerson {};

class TWidget : public TComponent {
  XO_CLASS(TWidget, TComponent)
public:
  using TComponent::TComponent;
};
XO_DESCRIBE(TWidget, u"uDemo.TWidget", c) { (void)c; }

}  // namespace demo

using namespace demo;

namespace {

TXoTypeInfo* FieldType(std::u16string_view AName) {
  TRttiField* f = TXoTypes::Of<TPerson>()->GetField(AName);
  EXPECT_NE(f, nullptr) << XoUTF16ToUTF8(AName);
  return f ? f->GetFieldType() : nullptr;
}

std::vector<std::u16string> Names(const auto& AMembers) {
  std::vector<std::u16string> r;
  for (auto* m : AMembers) r.push_back(m->GetName());
  return r;
}

}  // namespace

// ---------------------------------------------------------------------------
// Kinds

TEST(Registry, EveryMemberKindHasTheRightOrdinals) {
  struct TRow {
    const char16_t* Field;
    TXoTypeKind Kind;
    TTypeKind Platform;
  };
  const TRow rows[] = {
      {u"B", xtkByte, tkInteger},         {u"W", xtkWord, tkInteger},           {u"C", xtkCardinal, tkInteger},
      {u"U64", xtkUInt64, tkInt64},       {u"S8", xtkShortInt, tkInteger},      {u"S16", xtkSmallInt, tkInteger},
      {u"Id", xtkInteger, tkInteger},     {u"I64", xtkInt64, tkInt64},          {u"F", xtkSingle, tkFloat},
      {u"D", xtkDouble, tkFloat},         {u"E", xtkExtended, tkFloat},         {u"Ch", xtkChar, tkWChar},
      {u"AnsiCh", xtkAnsiChar, tkChar},   {u"Str", xtkString, tkUString},       {u"Ansi", xtkAnsiString, tkLString},
      {u"Wide", xtkWideString, tkWString}, {u"Flag", xtkBoolean, tkEnumeration}, {u"Color", xtkEnumeration, tkEnumeration},
      {u"Colors", xtkSet, tkSet},         {u"Born", xtkDate, tkFloat},          {u"Wake", xtkTime, tkFloat},
      {u"Stamp", xtkDateTime, tkFloat},   {u"V", xtkVariant, tkVariant},        {u"Fixed", xtkArray, tkArray},
      {u"Tags", xtkDynArray, tkDynArray}, {u"Pos", xtkRecord, tkRecord},        {u"Address", xtkClass, tkClass},
      {u"Shape", xtkInterface, tkInterface}, {u"OnChange", xtkEvent, tkMethod}, {u"Kind", xtkClassRef, tkClassRef},
      {u"Friend", xtkClass, tkClass},     {u"Extra", xtkRecord, tkRecord},
  };
  for (const TRow& r : rows) {
    TXoTypeInfo* t = FieldType(r.Field);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->GetTypeKind(), r.Kind) << XoUTF16ToUTF8(r.Field);
    EXPECT_EQ(t->GetKind(), r.Platform) << XoUTF16ToUTF8(r.Field);
    EXPECT_EQ(t->GetIsSimpleType(), r.Kind >= 1 && r.Kind <= 24) << XoUTF16ToUTF8(r.Field);
  }
  EXPECT_EQ(TXoTypes::Of<void*>()->GetTypeKind(), xtkPointer);
  EXPECT_EQ(TXoTypes::Of<void (*)(int32_t)>()->GetTypeKind(), xtkProcedure);
  EXPECT_EQ(TXoTypes::Of<TWideCharTag>()->GetTypeKind(), xtkWideChar);
}

TEST(Registry, KindsGiveTheirMainKind) {
  EXPECT_EQ(TXoTypes::Of<int8_t>()->GetMainTypeKind(), mtkInteger);
  EXPECT_EQ(TXoTypes::Of<long double>()->GetMainTypeKind(), mtkFloat);
  EXPECT_EQ(TXoTypes::Of<std::string>()->GetMainTypeKind(), mtkString);
  EXPECT_EQ(TXoTypes::Of<char16_t>()->GetMainTypeKind(), mtkString);
  EXPECT_EQ(TXoTypes::Of<bool>()->GetMainTypeKind(), mtkBoolean);
  EXPECT_EQ(TXoTypes::Of<TTimeTag>()->GetMainTypeKind(), mtkDateTime);
  EXPECT_EQ(TXoTypes::Of<std::vector<TPoint>>()->GetMainTypeKind(), mtkArray);
  EXPECT_EQ(TXoTypes::Of<TPoint>()->GetMainTypeKind(), mtkOther);
  EXPECT_EQ(TXoTypes::ToMainTypeKind(xtkEnumeration), mtkOther);
  EXPECT_EQ(TXoTypes::ToMainTypeKind(xtkArray), mtkArray);
}

TEST(Registry, DescriptorsAreSharedAndStructured) {
  // One descriptor per type: a class and pointers to it, long and long long.
  EXPECT_EQ(TXoTypes::Of<TPerson>(), TXoTypes::Of<TPerson*>());
  EXPECT_EQ(TXoTypes::Of<long long>(), TXoTypes::Of<int64_t>());
  EXPECT_EQ(TXoTypes::Of<IShape>(), TXoTypes::Of<TIntfPtr<IShape>>());
  EXPECT_EQ(TPerson::ClassInfo(), TXoTypes::Of<TPerson>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(typeid(TPerson)), TXoTypes::Of<TPerson>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(TXoTypes::Of<TPoint>()), TXoTypes::Of<TPoint>());
  // Structure.
  EXPECT_EQ(TXoTypes::Of<TPerson>()->GetBaseType(), TXoTypes::Of<TBase>());
  EXPECT_TRUE(TXoTypes::Of<TPerson>()->InheritsFrom(TXoTypes::Of<TXoObject>()));
  EXPECT_TRUE(TXoTypes::Of<TPerson>()->InheritsFrom(TXoTypes::Of<TObject>()));
  EXPECT_FALSE(TXoTypes::Of<TBase>()->InheritsFrom(TXoTypes::Of<TPerson>()));
  EXPECT_TRUE(TXoTypes::Of<IShape>()->InheritsFrom(TXoTypes::Of<IInterface>()));
  EXPECT_EQ(FieldType(u"Tags")->GetElementType(), TXoTypes::Of<std::u16string>());
  EXPECT_EQ(FieldType(u"Fixed")->GetArrayLength(), 3u);
  EXPECT_EQ(FieldType(u"Colors")->GetElementType(), TXoTypes::Of<TColor>());
  EXPECT_EQ(FieldType(u"Kind")->GetElementType(), TXoTypes::Of<TBase>());
  TXoTypeInfo* ev = FieldType(u"OnChange");
  ASSERT_EQ(ev->GetParameters().size(), 2u);
  EXPECT_EQ(ev->GetParameters()[0]->GetParamType(), TXoTypes::Of<TObject>());
  EXPECT_EQ(ev->GetParameters()[1]->GetParamType(), TXoTypes::Of<int32_t>());
  // The self-referencing member points back at its own class.
  EXPECT_EQ(FieldType(u"Friend"), TXoTypes::Of<TPerson>());
  // Enumeration names by ordinal.
  TXoTypeInfo* color = TXoTypes::Of<TColor>();
  EXPECT_EQ(color->GetEnumName(2), u"clBlue");
  EXPECT_EQ(color->GetEnumValue(u"CLGREEN"), 1);
  EXPECT_EQ(color->GetEnumValue(u"clPink"), -1);
  EXPECT_EQ(color->GetMaxValue(), 2);
  EXPECT_EQ(TXoTypes::Of<bool>()->GetEnumName(1), u"True");
}

// ---------------------------------------------------------------------------
// Names

TEST(Registry, NamesOfSimpleAndApplicationTypes) {
  struct TRow {
    TXoTypeInfo* Type;
    const char16_t* Short;
    const char16_t* Qualified;
    const char16_t* Schema;
  };
  const TRow rows[] = {
      {TXoTypes::Of<std::u16string>(), u"string", u"System.string", u"string"},
      {TXoTypes::Of<int32_t>(), u"Integer", u"System.Integer", u"int"},
      {TXoTypes::Of<int64_t>(), u"Int64", u"System.Int64", u"long"},
      {TXoTypes::Of<long double>(), u"Extended", u"System.Extended", u"decimal"},
      {TXoTypes::Of<bool>(), u"Boolean", u"System.Boolean", u"boolean"},
      {TXoTypes::Of<TDateTimeTag>(), u"TDateTime", u"System.TDateTime", u"dateTime"},
      {TXoTypes::Of<TDateTag>(), u"TDate", u"System.TDate", u"date"},
      {TXoTypes::Of<TTimeTag>(), u"TTime", u"System.TTime", u"time"},
      {TXoTypes::Of<Variant>(), u"Variant", u"System.Variant", u"anyType"},
      {TXoTypes::Of<TValue>(), u"TValue", u"System.Rtti.TValue", u"TValue"},
      {TXoTypes::Of<TPerson>(), u"TPerson", u"uDemo.TPerson", u"TPerson"},
      {TXoTypes::Of<TColor>(), u"TColor", u"uDemo.TColor", u"TColor"},
      {TXoTypes::Of<std::vector<std::u16string>>(), u"TArray<System.string>", u"System.TArray<System.string>",
       u"ArrayOfString"},
      {TXoTypes::Of<std::vector<TPoint>>(), u"TArray<uDemo.TPoint>", u"System.TArray<uDemo.TPoint>",
       u"ArrayOfTPoint"},
      {TXoTypes::Of<TComponent>(), u"TComponent", u"System.Classes.TComponent", u"TComponent"},
      {TXoTypes::Of<TXoObject>(), u"TXoObject", u"uXoClasses.TXoObject", u"TXoObject"},
      {TXoTypes::Of<IShape>(), u"IShape", u"uDemo.IShape", u"IShape"},
      {TXoTypes::Of<TClass>(), u"TClass", u"System.TClass", u"TClass"},
      {TXoTypes::Of<TXoJSONStringTag>(), u"XoJSONString", u"uXoSysUtils.XoJSONString", u"jsonString"},
  };
  for (const TRow& r : rows) {
    EXPECT_EQ(r.Type->GetName(), r.Short);
    EXPECT_EQ(r.Type->GetQualifiedName(), r.Qualified);
    EXPECT_EQ(r.Type->SchemaName(), r.Schema);
    EXPECT_EQ(r.Type->SchemaName(u"xsd"), std::u16string(u"xsd:") + r.Schema);
  }
  EXPECT_EQ((TXoTypes::Of<std::array<int32_t, 3>>()->GetName()), u"array[0..2] of Integer");
  // Names built on names that are built themselves, made in one go.
  EXPECT_EQ((TXoTypes::Of<std::vector<std::vector<std::array<TPoint, 2>>>>()->GetQualifiedName()),
            u"System.TArray<System.TArray<array[0..1] of uDemo.TPoint>>");
  EXPECT_EQ((TXoTypes::Of<std::vector<std::vector<TPoint>>>()->SchemaName()), u"ArrayOfArrayOfTPoint");
  EXPECT_EQ(TXoTypes::Of<TColors>()->GetQualifiedName(), u"uDemo.TColors");
  EXPECT_EQ(TPerson().ClassName(), u"TPerson");
}

TEST(Registry, LookupsByNameIgnoreCase) {
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"system.INTEGER", tntQualified), TXoTypes::Of<int32_t>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"udemo.tperson", tntQualified), TXoTypes::Of<TPerson>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"tperson", tntShort), TXoTypes::Of<TPerson>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"DATETIME", tntSchema), TXoTypes::Of<TDateTimeTag>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"Word", 0, false, 0), TXoTypes::Of<uint16_t>());
  // A name type compares only its own names.
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"TPerson", tntQualified), nullptr);
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"uDemo.NoSuchType", tntQualified), nullptr);
  // Built-in aliases.
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"System.LongInt", tntQualified), TXoTypes::Of<int32_t>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"Cardinal", tntShort), TXoTypes::Of<uint32_t>());
}

TEST(Registry, EverySchemaNameFindsItsTypeAgain) {
  // Make sure the types built on the fly are there too.
  TXoTypes::Of<std::vector<TPerson*>>();
  TXoTypes::Of<std::array<TPoint, 2>>();
  size_t n = TXoTypes::Count();
  ASSERT_GT(n, 40u);
  for (size_t i = 0; i < n; ++i) {
    TXoTypeInfo* t = TXoTypes::Item(i);
    if (t->GetTypeKind() == xtkEvent || t->GetTypeKind() == xtkProcedure || t->GetTypeKind() == xtkOpaque) continue;
    EXPECT_EQ(TXoTypes::GetTypeInfo(t->SchemaName(), tntSchema), t) << XoUTF16ToUTF8(t->GetQualifiedName());
    EXPECT_EQ(TXoTypes::GetTypeInfo(t->GetQualifiedName(), tntQualified), t) << XoUTF16ToUTF8(t->GetQualifiedName());
  }
}

TEST(Registry, VirtualArrayTypesAreMadeOnRequestAndKept) {
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"ArrayOfWidgetNames", tntSchema, false, mtkArray), nullptr);
  TXoTypeInfo* a = TXoTypes::GetTypeInfo(u"ArrayOfWidgetNames", tntSchema, true, mtkArray);
  ASSERT_NE(a, nullptr);
  EXPECT_TRUE(a->IsVirtual());
  EXPECT_EQ(a->GetTypeKind(), xtkDynArray);
  EXPECT_EQ(a->GetMainTypeKind(), mtkArray);
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"arrayofwidgetnames", tntSchema, true, mtkArray), a);
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"ArrayOfWidgetNames", tntQualified), a);
  // Without a main kind nothing is made.
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"SomethingElse", tntSchema, true, mtkOther), nullptr);
  // An element named after "ArrayOf" is found by its schema name; the array
  // holds TValues of any type.
  TXoTypeInfo* pts = TXoTypes::GetTypeInfo(u"ArrayOfTPoints", tntSchema, true, mtkArray);
  EXPECT_EQ(pts->GetElementType(), TXoTypes::Of<Variant>());
  TXoTypeInfo* ints = TXoTypes::GetTypeInfo(u"ArrayOfLong", tntSchema, true, mtkArray);
  EXPECT_EQ(ints->GetElementType(), TXoTypes::Of<int64_t>());
  TValue v = TValue::Make(nullptr, ints);
  v.SetArrayLength(2);
  v.SetArrayElement(1, TValue::From(int64_t(9)));
  EXPECT_EQ(v.GetArrayLength(), 2u);
  EXPECT_EQ(v.GetArrayElement(1).AsInt64(), 9);
  EXPECT_TRUE(v.GetArrayElement(0).IsEmpty());
  // A virtual twin of a class keeps its class's members and ancestry.
  TXoTypeInfo* vp = TXoTypes::Of<TPerson>()->VirtualType(u"ArrayOfPersonsV", sdtArray);
  EXPECT_EQ(TXoTypes::Of<TPerson>()->VirtualType(u"ArrayOfPersonsV", sdtArray), vp);
  EXPECT_EQ(vp->GetSchemaDataType(), sdtArray);
  EXPECT_EQ(vp->GetTypeKind(), xtkClass);
  EXPECT_TRUE(vp->InheritsFrom(TXoTypes::Of<TBase>()));
  EXPECT_NE(vp->GetProperty(u"Age"), nullptr);
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"ArrayOfPersonsV", tntSchema), vp);
}

TEST(Registry, TypeAliases) {
  TXoTypes::RegisterTypeAlias(TXoTypes::Of<TPoint>(), u"Punkt");
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"punkt", tntShort), TXoTypes::Of<TPoint>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"PUNKT", tntQualified), TXoTypes::Of<TPoint>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"Punkt", tntSchema), TXoTypes::Of<TPoint>());
  EXPECT_THROW(TXoTypes::RegisterTypeAlias(nullptr, u"X"), EArgumentNilException);
}

// ---------------------------------------------------------------------------
// Members

TEST(Registry, MembersInRegistrationOrderMostDerivedFirst) {
  TXoTypeInfo* p = TXoTypes::Of<TPerson>();
  auto props = Names(p->GetProperties());
  ASSERT_EQ(props.size(), 5u);
  EXPECT_EQ(props, (std::vector<std::u16string>{u"Age", u"Pin", u"Double", u"FAgeProp", u"Name"}));
  auto fields = Names(p->GetFields());
  ASSERT_GE(fields.size(), 4u);
  EXPECT_EQ(fields.front(), u"B");
  EXPECT_EQ(fields[fields.size() - 5], u"FAge");
  EXPECT_EQ((std::vector<std::u16string>(fields.end() - 4, fields.end())),
            (std::vector<std::u16string>{u"Id", u"FLevel", u"FName", u"FSecret"}));
  EXPECT_EQ(p->GetDeclaredProperties().size(), 4u);
  EXPECT_EQ(TXoTypes::Of<TBase>()->GetProperties().size(), 1u);
  // Visibility, readable flag, declaring type.
  EXPECT_EQ(p->GetProperty(u"Age")->GetVisibility(), mvPublished);
  EXPECT_EQ(p->GetProperty(u"Double")->GetVisibility(), mvPublic);
  EXPECT_EQ(p->GetProperty(u"FAgeProp")->GetVisibility(), mvPrivate);
  EXPECT_EQ(p->GetField(u"FLevel")->GetVisibility(), mvProtected);
  EXPECT_EQ(p->GetField(u"Id")->GetVisibility(), mvPublic);
  EXPECT_FALSE(p->GetProperty(u"Pin")->IsReadable());
  EXPECT_TRUE(p->GetProperty(u"Pin")->IsWritable());
  EXPECT_FALSE(p->GetProperty(u"Double")->IsWritable());
  EXPECT_EQ(p->GetProperty(u"Name")->GetParent(), TXoTypes::Of<TBase>());
  EXPECT_EQ(p->GetProperty(u"Name")->GetPropertyType(), TXoTypes::Of<std::u16string>());
  // Names in any case; members of other kinds are not found.
  EXPECT_EQ(p->GetField(u"fsecret"), TXoTypes::Of<TBase>()->GetField(u"FSecret"));
  EXPECT_EQ(p->GetProperty(u"aGE"), p->GetProperty(u"Age"));
  EXPECT_EQ(p->GetField(u"Age"), nullptr);
  EXPECT_EQ(p->GetMethod(u"ADD")->GetName(), u"Add");
  EXPECT_EQ(p->GetIndexedProperty(u"items")->GetName(), u"Items");
}

TEST(Registry, AnnotationsOnMembers) {
  TXoTypeInfo* p = TXoTypes::Of<TPerson>();
  TMaxLength* m = p->GetProperty(u"Name")->GetAttribute<TMaxLength>();
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->Value, 40);
  TDemoHint* h = p->GetField(u"Str")->GetAttribute<TDemoHint>();
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->Option, dhoName);
  EXPECT_EQ(h->Value, u"string");
  EXPECT_TRUE(p->GetField(u"Ansi")->GetAttributes().empty());
}

TEST(Registry, FieldsReadAndWriteEveryKind) {
  TPerson o;
  TXoTypeInfo* p = TXoTypes::Of<TPerson>();
  EXPECT_EQ(p->GetField(u"B")->GetValue(&o).AsInteger(), 1);
  EXPECT_EQ(p->GetField(u"S8")->GetValue(&o).AsInt64(), -5);
  EXPECT_EQ(p->GetField(u"U64")->GetValue(&o).AsUInt64(), 4u);
  EXPECT_EQ(p->GetField(u"E")->GetValue(&o).AsExtended(), 3.5L);
  EXPECT_EQ(p->GetField(u"Str")->GetValue(&o).AsString(), u"text");
  EXPECT_EQ(p->GetField(u"Ansi")->GetValue(&o).AsString(), u"ansi");
  EXPECT_EQ(p->GetField(u"Ch")->GetValue(&o).AsString(), u"x");
  EXPECT_TRUE(p->GetField(u"Flag")->GetValue(&o).AsBoolean());
  EXPECT_EQ(p->GetField(u"Color")->GetValue(&o).AsOrdinal(), 1);
  EXPECT_EQ(p->GetField(u"Stamp")->GetValue(&o).AsExtended(), 45000.5L);
  EXPECT_EQ(p->GetField(u"Address")->GetValue(&o).AsObject(), o.Address);

  p->GetField(u"W")->SetValue(&o, TValue::From(int32_t(65535)));
  EXPECT_EQ(o.W, 65535);
  EXPECT_THROW(p->GetField(u"W")->SetValue(&o, TValue::From(int32_t(65536))), EInvalidCast);
  p->GetField(u"Str")->SetValue(&o, TValue::From(u"new"));
  EXPECT_EQ(o.Str, u"new");
  p->GetField(u"Ansi")->SetValue(&o, TValue::From(u"abc"));
  EXPECT_EQ(o.Ansi, "abc");
  p->GetField(u"Color")->SetValue(&o, TValue::From(u"clBlue"));
  EXPECT_EQ(o.Color, TColor::clBlue);
  p->GetField(u"Colors")->SetValue(&o, TValue::From(u"[clGreen]"));
  EXPECT_EQ(o.Colors, TColors{TColor::clGreen});
  p->GetField(u"D")->SetValue(&o, TValue::From(u"1.5"));
  EXPECT_EQ(o.D, 1.5);
  p->GetField(u"Pos")->SetValue(&o, TValue::From(TPoint{7, 8}));
  EXPECT_EQ(o.Pos.Y, 8);
  p->GetField(u"Tags")->SetValue(&o, TValue::From(std::vector<std::u16string>{u"z"}));
  EXPECT_EQ(o.Tags, std::vector<std::u16string>{u"z"});
  p->GetField(u"V")->SetValue(&o, TValue::From(u"v"));
  EXPECT_EQ(o.V.AsString(), u"v");

  // Private members are reachable through reflection.
  TXoTypeInfo* base = TXoTypes::Of<TBase>();
  EXPECT_EQ(base->GetField(u"FSecret")->GetValue(&o).AsInt64(), 42);
  base->GetField(u"FSecret")->SetValue(&o, TValue::From(int64_t(7)));
  EXPECT_EQ(o.Secret(), 7);
  TSecretRec rec;
  TRttiField* hidden = TXoTypes::Of<TSecretRec>()->GetField(u"FHidden");
  hidden->SetValue(&rec, TValue::From(int32_t(9)));
  EXPECT_EQ(rec.Hidden(), 9);
  EXPECT_EQ(hidden->GetVisibility(), mvPrivate);
}

TEST(Registry, ObjectAndInterfaceMembersCheckTheirClass) {
  TPerson o, other;
  TXoTypeInfo* p = TXoTypes::Of<TPerson>();
  p->GetField(u"Friend")->SetValue(&o, TValue::FromObject(&other));
  EXPECT_EQ(o.Friend, &other);
  TAddress addr;
  EXPECT_THROW(p->GetField(u"Friend")->SetValue(&o, TValue::FromObject(&addr)), EInvalidCast);
  p->GetField(u"Friend")->SetValue(&o, TValue());
  EXPECT_EQ(o.Friend, nullptr);

  TIntfPtr<IShape> sq(new TSquare);
  p->GetField(u"Shape")->SetValue(&o, TValue::From(sq));
  EXPECT_EQ(o.Shape.get(), sq.get());
  TValue sv = p->GetField(u"Shape")->GetValue(&o);
  EXPECT_EQ(sv.Kind(), tkInterface);
  EXPECT_DOUBLE_EQ(sv.AsType<TIntfPtr<IShape>>()->Area(), 4.0);
  // An object that implements the interface is accepted too.
  p->GetField(u"Shape")->SetValue(&o, TValue::FromObject(static_cast<TSquare*>(sq.get())));
  EXPECT_EQ(o.Shape.get(), sq.get());

  p->GetField(u"Kind")->SetValue(&o, TValue::From(TClassRef<TPerson>(TXoTypes::Of<TPerson>())));
  EXPECT_EQ(o.Kind.Get(), TXoTypes::Of<TPerson>());
  EXPECT_THROW(TClassRef<TBase>(TXoTypes::Of<TAddress>()), EInvalidCast);
}

TEST(Registry, PropertiesAndIndexedPropertiesAndMethods) {
  TPerson o;
  TXoTypeInfo* p = TXoTypes::Of<TPerson>();
  EXPECT_EQ(p->GetProperty(u"Age")->GetValue(&o).AsInteger(), 30);
  p->GetProperty(u"Age")->SetValue(&o, TValue::From(int32_t(31)));
  EXPECT_EQ(o.GetAge(), 31);
  EXPECT_EQ(p->GetProperty(u"Double")->GetValue(&o).AsInteger(), 62);
  EXPECT_THROW(p->GetProperty(u"Double")->SetValue(&o, TValue::From(int32_t(1))), EInvalidOperation);
  EXPECT_THROW(p->GetProperty(u"Pin")->GetValue(&o), EInvalidOperation);
  p->GetProperty(u"Pin")->SetValue(&o, TValue::From(int32_t(1234)));
  EXPECT_EQ(o.Pin(), 1234);
  p->GetProperty(u"name")->SetValue(&o, TValue::From(u"Ann"));
  EXPECT_EQ(o.GetName(), u"Ann");
  p->GetProperty(u"FAgeProp")->SetValue(&o, TValue::From(int32_t(5)));
  EXPECT_EQ(o.GetAge(), 5);

  TRttiIndexedProperty* items = p->GetIndexedProperty(u"Items");
  ASSERT_EQ(items->GetIndexParameters().size(), 1u);
  EXPECT_EQ(items->GetIndexParameters()[0]->GetParamType(), TXoTypes::Of<int32_t>());
  EXPECT_EQ(items->GetValue(&o, {TValue::From(int32_t(1))}).AsString(), u"i1");
  items->SetValue(&o, {TValue::From(int32_t(0))}, TValue::From(u"first"));
  EXPECT_EQ(o.GetItem(0), u"first");
  EXPECT_THROW(items->GetValue(&o, {}), EArgumentException);

  TRttiMethod* add = p->GetMethod(u"Add");
  ASSERT_EQ(add->GetParameters().size(), 2u);
  EXPECT_EQ(add->GetParameters()[1]->GetName(), u"B");
  EXPECT_EQ(add->GetReturnType(), TXoTypes::Of<int32_t>());
  EXPECT_EQ(add->Invoke(&o, {TValue::From(int32_t(2)), TValue::From(u"40")}).AsInteger(), 42);
  EXPECT_THROW(add->Invoke(&o, {TValue::From(int32_t(2))}), EArgumentException);
  TRttiMethod* greet = p->GetMethod(u"Greet");
  EXPECT_TRUE(greet->IsStatic());
  EXPECT_EQ(greet->GetParameters()[0]->GetName(), u"A1");
  EXPECT_EQ(greet->Invoke(static_cast<void*>(nullptr), {TValue::From(u"Bo")}).AsString(), u"Hello Bo");
}

// ---------------------------------------------------------------------------
// Creating instances

TEST(Registry, CreateWithoutParametersAndComponentsWithTheirOwner) {
  TXoTypeInfo* p = TXoTypes::Of<TPerson>();
  TRttiMethod* create = p->GetMethod(u"Create");
  ASSERT_NE(create, nullptr);
  EXPECT_TRUE(create->IsConstructor());
  EXPECT_TRUE(create->GetParameters().empty());
  EXPECT_TRUE(p->HasParameterlessConstructor());
  TValue made = create->Invoke(static_cast<void*>(nullptr), {});
  TPerson* o = made.AsType<TPerson*>();
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->GetAge(), 30);
  o->Free();

  // A component's Create takes its owner, so it is not parameterless.
  TXoTypeInfo* w = TXoTypes::Of<TWidget>();
  EXPECT_FALSE(w->HasParameterlessConstructor());
  ASSERT_EQ(w->GetMethod(u"Create")->GetParameters().size(), 1u);
  EXPECT_EQ(w->GetMethod(u"Create")->GetParameters()[0]->GetName(), u"AOwner");
  TComponent owner;
  TObject* wo = w->CreateInstance(&owner);
  EXPECT_EQ(owner.ComponentCount(), 1);
  EXPECT_EQ(static_cast<TComponent*>(dynamic_cast<TWidget*>(wo))->GetOwner(), &owner);
  // Abstract and parameter-only classes cannot be made.
  EXPECT_FALSE(TXoTypes::Of<TStream>()->IsCreatable());
  // TStream inherits TObject's Create, which refuses to make the abstract class.
  EXPECT_EQ(TXoTypes::Of<TStream>()->GetMethod(u"Create")->GetParent(), TXoTypes::Of<TObject>());
  EXPECT_THROW(TXoTypes::Of<TStream>()->CreateInstance(), ENotSupportedException);
  EXPECT_THROW(TXoTypes::Of<TFileStream>()->CreateInstance(), ENotSupportedException);
}

TEST(Registry, ClassesByName) {
  EXPECT_EQ(GetClass(u"TAddress"), nullptr);
  RegisterClass(TXoTypes::Of<TAddress>());
  EXPECT_EQ(GetClass(u"taddress"), TXoTypes::Of<TAddress>());
  EXPECT_EQ(GetClass(u"uDemo.TAddress"), TXoTypes::Of<TAddress>());
  TObject* a = GetClass(u"TAddress")->CreateInstance();
  EXPECT_NE(dynamic_cast<TAddress*>(a), nullptr);
  a->Free();
  EXPECT_EQ(GetClass(u"TControl"), nullptr);
  EXPECT_THROW(FindClass(u"TControl"), EClassNotFound);
  UnRegisterClass(TXoTypes::Of<TAddress>());
  EXPECT_EQ(GetClass(u"TAddress"), nullptr);
  EXPECT_THROW(RegisterClass(TXoTypes::Of<TPoint>()), EArgumentException);
}

TEST(Registry, ClassOfAnObjectIsItsNearestRegisteredClass) {
  TEmployee e;
  TPerson p;
  EXPECT_EQ(TXoTypes::ClassOf(&p), TXoTypes::Of<TPerson>());
  EXPECT_EQ(TXoTypes::ClassOf(&e), TXoTypes::Of<TPerson>());
  EXPECT_EQ(TXoTypes::ClassOf(nullptr), nullptr);
  TValue v = TValue::FromObject(&e);
  EXPECT_EQ(v.TypeInfo(), TXoTypes::Of<TPerson>());
  EXPECT_EQ(v.AsObject(), &e);
  EXPECT_EQ(e.ClassName(), u"TPerson");
}

// ---------------------------------------------------------------------------
// Serializer pairs

TEST(Registry, FindSerializersFallsBackToAncestorsThenToNil) {
  // Stand-in serializer classes: any class descriptors.
  TClass ser = TXoTypes::Of<TAddress>();
  TClass des = TXoTypes::Of<TSquare>();
  const auto fmt = dsfXML;
  EXPECT_TRUE(TXoTypes::FindSerializers(TXoTypes::Of<TWidget>(), fmt).IsEmpty());
  TXoTypes::RegisterTypeSerializers(nullptr, fmt, {ser, nullptr});
  TXoTypes::RegisterTypeSerializers(TXoTypes::Of<TBase>(), fmt, {ser, des});
  EXPECT_EQ(TXoTypes::FindSerializers(TXoTypes::Of<TBase>(), fmt).Deserializer, des);
  // TPerson has no pair of its own; TEmployee is not even described.
  EXPECT_EQ(TXoTypes::FindSerializers(TXoTypes::Of<TPerson>(), fmt).Deserializer, des);
  EXPECT_EQ(TXoTypes::FindSerializers(TXoTypes::ClassOf(nullptr), fmt).Deserializer, nullptr);
  TEmployee e;
  EXPECT_EQ(TXoTypes::FindSerializers(TXoTypes::ClassOf(&e), fmt).Deserializer, des);
  // No registered ancestor: the nil entry.
  auto nilPair = TXoTypes::FindSerializers(TXoTypes::Of<TWidget>(), fmt);
  EXPECT_EQ(nilPair.Serializer, ser);
  EXPECT_EQ(nilPair.Deserializer, nullptr);
  // The other format is separate.
  EXPECT_TRUE(TXoTypes::FindSerializers(TXoTypes::Of<TBase>(), dsfJSON).IsEmpty());
  EXPECT_STREQ(reinterpret_cast<const char*>(XoUTF16ToUTF8(XoDataSerializationFormatType[dsfJSON]).c_str()), "JSON");
}

// ---------------------------------------------------------------------------
// TValue

TEST(Value, EmptyKindAndMake) {
  TValue e;
  EXPECT_TRUE(e.IsEmpty());
  EXPECT_EQ(e.Kind(), tkUnknown);
  EXPECT_EQ(e.ToString(), u"(empty)");
  EXPECT_TRUE(e.IsNull());
  EXPECT_EQ(e.GetReferenceToRawData(), nullptr);
  TValue nilObj = TValue::From(static_cast<TPerson*>(nullptr));
  EXPECT_TRUE(nilObj.IsEmpty());
  EXPECT_EQ(nilObj.Kind(), tkClass);

  int16_t x = -3;
  TValue v = TValue::Make(&x, TXoTypes::Of<int16_t>());
  EXPECT_EQ(v.Kind(), tkInteger);
  EXPECT_EQ(v.TypeKind(), xtkSmallInt);
  EXPECT_EQ(v.AsInteger(), -3);
  TValue def = TValue::Make(nullptr, TXoTypes::Of<std::u16string>());
  EXPECT_EQ(def.AsString(), u"");
  EXPECT_FALSE(def.IsEmpty());
}

TEST(Value, OrdinalsEnumerationsAndSets) {
  TValue c = TValue::FromOrdinal(TXoTypes::Of<TColor>(), 2);
  EXPECT_EQ(c.AsType<TColor>(), TColor::clBlue);
  EXPECT_EQ(c.ToString(), u"clBlue");
  EXPECT_EQ(c.Kind(), tkEnumeration);
  EXPECT_EQ(TValue::FromOrdinal(TXoTypes::Of<bool>(), 5).ToString(), u"True");
  EXPECT_EQ(TValue::FromOrdinal(TXoTypes::Of<char16_t>(), 65).AsString(), u"A");
  EXPECT_THROW(TValue::FromOrdinal(TXoTypes::Of<double>(), 1), EInvalidCast);
  TValue s = TValue::From(TColors{TColor::clRed, TColor::clBlue});
  EXPECT_EQ(s.ToString(), u"[clRed,clBlue]");
  EXPECT_EQ(TValue::From(TColors{}).ToString(), u"[]");
  TValue m = TValue::Make(int64_t(6), TXoTypes::Of<TColors>());
  EXPECT_EQ(m.ToString(), u"[clGreen,clBlue]");
  EXPECT_EQ(StringToSet(TXoTypes::Of<TColors>(), u"[ clRed , clgreen ]"), 3u);
  EXPECT_THROW(StringToSet(TXoTypes::Of<TColors>(), u"clPink"), EConvertError);
  EXPECT_EQ(SetToString(TXoTypes::Of<TColors>(), 5), u"clRed,clBlue");
  // ToType of an enumeration from a number in text and from a name.
  EXPECT_EQ(TValue::From(u"1").ToType(TXoTypes::Of<TColor>()).ToString(), u"clGreen");
  EXPECT_EQ(TValue::From(int32_t(2)).ToType(TXoTypes::Of<TColor>()).ToString(), u"clBlue");
  EXPECT_THROW(TValue::From(int32_t(3)).ToType(TXoTypes::Of<TColor>()), EInvalidCast);
  EXPECT_THROW(TValue::From(u"clPink").ToType(TXoTypes::Of<TColor>()), EInvalidCast);
}

TEST(Value, ToStringOfNumbersDatesAndObjects) {
  EXPECT_EQ(TValue::From(int64_t(-12)).ToString(), u"-12");
  EXPECT_EQ(TValue::From(uint64_t(18446744073709551615ull)).ToString(), u"18446744073709551615");
  EXPECT_EQ(TValue::From(2.5).ToString(), u"2.5");
  EXPECT_EQ(TValue::From(0.1f).ToString(), u"0.1");
  EXPECT_EQ(TValue::From(true).ToString(), u"True");
  EXPECT_EQ(TValue::FromAs<TDateTag>(45000.75).ToString(), u"2023-03-15");
  EXPECT_EQ(TValue::FromAs<TTimeTag>(0.75).ToString(), u"18:00:00");
  EXPECT_EQ(TValue::FromAs<TDateTimeTag>(45000.75).ToString(), u"2023-03-15 18:00:00");
  TPerson p;
  std::u16string s = TValue::FromObject(&p).ToString();
  EXPECT_EQ(s.rfind(u"(TPerson @ ", 0), 0u);
  EXPECT_EQ(TValue::From(TPoint{}).ToString(), u"(record)");
  EXPECT_EQ(TValue::From(TValue::From(int32_t(5))).ToString(), u"5");
}

TEST(Value, ArraysAndRawData) {
  TValue a = TValue::From(std::vector<TPoint>{{1, 2}, {3, 4}});
  EXPECT_TRUE(a.IsArray());
  EXPECT_EQ(a.Kind(), tkDynArray);
  EXPECT_EQ(a.GetArrayLength(), 2u);
  EXPECT_EQ(a.GetArrayElement(1).AsType<TPoint>().X, 3);
  a.SetArrayElement(0, TValue::From(TPoint{9, 9}));
  a.SetArrayLength(3);
  auto back = a.AsType<std::vector<TPoint>>();
  ASSERT_EQ(back.size(), 3u);
  EXPECT_EQ(back[0].Y, 9);
  EXPECT_THROW(a.GetArrayElement(3), EArgumentOutOfRangeException);

  TValue f = TValue::From(std::array<int32_t, 3>{{1, 2, 3}});
  EXPECT_EQ(f.Kind(), tkArray);
  f.SetArrayElement(2, TValue::From(u"30"));
  EXPECT_EQ(f.GetArrayElement(2).AsInteger(), 30);
  EXPECT_THROW(f.SetArrayLength(5), EInvalidOperation);

  // The raw data keeps its address when the value moves, and a copy is deep.
  void* raw = a.GetReferenceToRawData();
  TValue moved = std::move(a);
  EXPECT_EQ(moved.GetReferenceToRawData(), raw);
  TValue copy = moved;
  EXPECT_NE(copy.GetReferenceToRawData(), raw);
  static_cast<std::vector<TPoint>*>(copy.GetReferenceToRawData())->clear();
  EXPECT_EQ(moved.GetArrayLength(), 3u);
  EXPECT_EQ(copy.GetArrayLength(), 0u);
  std::vector<TPoint> out;
  moved.ExtractRawData(&out);
  EXPECT_EQ(out.size(), 3u);
}

TEST(Value, FromVariantAndBack) {
  EXPECT_TRUE(TValue::FromVariant(Variant()).IsEmpty());
  EXPECT_TRUE(TValue::FromVariant(Variant::Null()).IsEmpty());
  EXPECT_EQ(TValue::FromVariant(Variant(int32_t(5))).TypeInfo(), TXoTypes::Of<int32_t>());
  EXPECT_EQ(TValue::FromVariant(Variant(u"s")).TypeInfo(), TXoTypes::Of<std::u16string>());
  EXPECT_EQ(TValue::FromVariant(Variant::FromDate(1.5)).TypeKind(), xtkDateTime);
  EXPECT_EQ(TValue::FromVariant(Variant(uint8_t(1))).TypeKind(), xtkByte);
  EXPECT_EQ(TValue::FromVariant(Variant(true)).TypeKind(), xtkBoolean);
  Variant arr = VarArrayOf({Variant(int32_t(1)), Variant(u"x")});
  EXPECT_EQ(TValue::FromVariant(arr).TypeKind(), xtkVariant);
  EXPECT_EQ(TValue::From(int16_t(4)).AsVariant().VarType(), varSmallint);
  EXPECT_EQ(TValue::FromAs<TDateTimeTag>(2.0).AsVariant().VarType(), varDate);
  EXPECT_EQ(TValue::From(std::string("a")).AsVariant().VarType(), varString);
  TValue vv = TValue::From(Variant(int32_t(3)));
  EXPECT_EQ(vv.MainTypeKind(), mtkInteger);
  EXPECT_EQ(TValue::From(Variant::Null()).IsNull(), true);
}

TEST(Value, HelperConversionsWithDefaultAndRaise) {
  EXPECT_EQ(TValue::From(u"12").ToInt(), 12);
  EXPECT_EQ(TValue::From(u"x").ToInt(7), 7);
  EXPECT_THROW(TValue::From(u"x").ToInt(7, true), EConvertError);
  EXPECT_EQ(TValue().ToInt64(5, true), 5);
  EXPECT_EQ(TValue::From(int32_t(3)).ToDouble(), 3.0);
  EXPECT_EQ(TValue::From(2.5).ToInt(1), 1);  // not a whole number
  EXPECT_EQ(TValue::From(u"true").ToBool(), true);
  EXPECT_EQ(TValue::From(int32_t(42)).ToStr(), u"42");
  EXPECT_EQ(TValue::From(TColor::clBlue).ToStr(), u"clBlue");
  EXPECT_EQ(TValue::From(1.5).ToDateTime(), 1.5);
  EXPECT_EQ(TValue::From(u"2").ToVariant().VarType(), varUString);
  EXPECT_EQ(TValue::From(Variant(int32_t(8))).ToInt(), 8);
  EXPECT_EQ(TValue::From(Variant::Null()).ToInt(4), 4);
  EXPECT_EQ(TValue::From(int32_t(300)).ToInt(0), 300);
  TValue b = TValue::From(int32_t(300));
  TValue r;
  EXPECT_FALSE(b.TryToType(TXoTypes::Of<uint8_t>(), r));
  EXPECT_TRUE(b.TryToType(TXoTypes::Of<uint16_t>(), r));
  EXPECT_EQ(r.TypeKind(), xtkWord);
  // A double and a TDateTime share their storage: only the identity changes.
  TValue d = TValue::From(45000.5).ToType(TXoTypes::Of<TDateTimeTag>());
  EXPECT_EQ(d.TypeKind(), xtkDateTime);
  EXPECT_EQ(d.AsType<double>(), 45000.5);
  EXPECT_EQ(d.XoTypeInfo(), TXoTypes::Of<TDateTimeTag>());
}

// ---------------------------------------------------------------------------
// Variants and the registry

TEST(Registry, VariantTypesAndMainKinds) {
  EXPECT_EQ(TXoTypes::VarTypeInfo(Variant(int32_t(1))), TXoTypes::Of<int32_t>());
  EXPECT_EQ(TXoTypes::VarTypeInfo(Variant(u"s")), TXoTypes::Of<std::u16string>());
  EXPECT_EQ(TXoTypes::VarTypeInfo(Variant::FromDate(2)), TXoTypes::Of<TDateTimeTag>());
  EXPECT_EQ(TXoTypes::VarTypeInfo(Variant::Null()), TXoTypes::Of<Variant>());
  EXPECT_EQ(TXoTypes::VarTypeInfo(Variant(true))->SchemaName(u"xsd"), u"xsd:boolean");
  TXoTypeInfo* bytes = TXoTypes::VarTypeInfo(VarArrayFromBytes(std::string("ab")));
  EXPECT_EQ(bytes->SchemaName(), u"ArrayOfUnsignedByte");
  EXPECT_EQ(bytes->GetElementType(), TXoTypes::Of<uint8_t>());
  EXPECT_EQ(TXoTypes::VarTypeInfo(VarArrayFromBytes(std::string("cd"))), bytes);

  EXPECT_EQ(TXoTypes::VarMainTypeKind(Variant(int64_t(1))), mtkInteger);
  EXPECT_EQ(TXoTypes::VarMainTypeKind(Variant(1.5)), mtkFloat);
  EXPECT_EQ(TXoTypes::VarMainTypeKind(Variant(std::string("a"))), mtkString);
  EXPECT_EQ(TXoTypes::VarMainTypeKind(Variant(false)), mtkBoolean);
  EXPECT_EQ(TXoTypes::VarMainTypeKind(Variant::FromDate(1)), mtkDateTime);
  EXPECT_EQ(TXoTypes::VarMainTypeKind(VarArrayOf({Variant(1)})), mtkArray);
  EXPECT_EQ(TXoTypes::VarMainTypeKind(Variant::Null()), mtkOther);

  EXPECT_EQ(TXoTypes::GetVarType(u"System.Integer", tntQualified, 13), varInteger);
  EXPECT_EQ(TXoTypes::GetVarType(u"dateTime", tntSchema, 13), varDate);
  EXPECT_EQ(TXoTypes::GetVarType(u"System.Boolean", tntQualified, 13), varBoolean);
  EXPECT_EQ(TXoTypes::GetVarType(u"System.AnsiString", tntQualified, 13), varString);
  EXPECT_EQ(TXoTypes::GetVarType(u"uDemo.Unknown", tntQualified, 13), 13);
  (void)TXoTypes::Of<std::vector<uint8_t>>();
  EXPECT_EQ(TXoTypes::GetVarType(u"System.TArray<System.Byte>", tntQualified, 13), varArray | varByte);
}

// ---------------------------------------------------------------------------
// Misuse

TEST(Registry, MisuseRaisesClearExceptions) {
  struct TLocal {
    int32_t A = 0;
  };
  TXoTypes::Of<TLocal>();
  EXPECT_NO_THROW(XoRegisterType<TLocal>(u"uTest.TLocal", [](auto& r) { r.field(u"A", &TLocal::A); }));
  // Twice the same type.
  EXPECT_THROW(XoRegisterType<TLocal>(u"uTest.TLocal2"), EInvalidOperation);
  // A name already in use.
  struct TOther {
    int32_t A = 0;
  };
  EXPECT_THROW(XoRegisterType<TOther>(u"UTEST.TLOCAL"), EInvalidOperation);
  // A member name given twice, in any case.
  struct TDup {
    int32_t A = 0, B = 0;
  };
  EXPECT_THROW(XoRegisterType<TDup>(u"uTest.TDup",
                                    [](auto& r) {
                                      r.field(u"A", &TDup::A);
                                      r.field(u"a", &TDup::B);
                                    }),
               EInvalidOperation);
  // A descriptor whose storage differs from the member's.
  struct TWrongAs {
    int32_t A = 0;
  };
  EXPECT_THROW(XoRegisterType<TWrongAs>(u"uTest.TWrongAs",
                                        [](auto& r) { r.field(u"A", &TWrongAs::A).as(TXoTypes::Of<double>()); }),
               EInvalidCast);
  // Enumeration names twice.
  enum class TE { a, b };
  EXPECT_THROW(XoRegisterType<TE>(u"uTest.TE", [](auto& e) { e.values({u"x", u"X"}); }), EInvalidOperation);
}

TEST(Registry, DistinctTypesShareStorageButNotIdentity) {
  TXoTypeInfo* a = TXoTypeBuilder<TPoint>::RegisterDistinct(u"uDemo.TPointXOnly", [](auto& r) {
    r.field(u"X", &TPoint::X);
    r.schemaName(u"PointX");
  });
  EXPECT_NE(a, TXoTypes::Of<TPoint>());
  EXPECT_EQ(a->GetFields().size(), 1u);
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"PointX", tntSchema), a);
  TValue v = TValue::From(TPoint{4, 5}).ToType(a);
  EXPECT_EQ(v.TypeInfo(), a);
  EXPECT_EQ(a->GetField(u"X")->GetValue(v.GetReferenceToRawData()).AsInteger(), 4);
}
