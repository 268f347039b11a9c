// The page of the Settings app: a list that Root.plist describes, but for the choices of groups.
//
// No header of the phone's is included. The classes above this one are declared as far as a
// compiler must know them to make a class of them; Settings has them loaded.
#include "settings_pane/group_choice.hpp"

@class NSArray, NSString;

__attribute__((objc_root_class))
@interface NSObject
- (instancetype)retain;
@end

@interface UIResponder : NSObject
@end

@interface UIViewController : UIResponder
@end

@interface PSViewController : UIViewController
@end

@interface PSListController : PSViewController {
  NSArray* _specifiers;  // what the table shows; retained
}
- (NSArray*)loadSpecifiersFromPlistName:(NSString*)name target:(id)target;
@end

@interface HLSettingsController : PSListController
@end

@implementation HLSettingsController

// The superclass forgets the list when it is to be read anew, and fills its table from it alone.
- (NSArray*)specifiers {
  if (!_specifiers) {
    hlReadGroups();
    _specifiers = [[self loadSpecifiersFromPlistName:@"Root" target:self] retain];
  }
  return _specifiers;
}

// Named by Root.plist. Called while the description is being read, when there is no cell yet, and
// later with one: the argument says nothing.
- (NSArray*)groupValues:(id)ignored {
  return hlGroupValues();
}

- (NSArray*)groupTitles:(id)ignored {
  return hlGroupTitles();
}

@end
