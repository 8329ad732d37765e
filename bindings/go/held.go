package velmorakit

import "sync"

// What C holds by a number until it gives it back: a pointer of Go must not stay there.
type register struct {
	mutex   sync.Mutex
	objects map[uintptr]any
	last    uintptr
}

var held = register{objects: map[uintptr]any{}}

func (register *register) add(object any) uintptr {
	register.mutex.Lock()
	defer register.mutex.Unlock()
	register.last++
	register.objects[register.last] = object
	return register.last
}

func (register *register) get(number uintptr) any {
	register.mutex.Lock()
	defer register.mutex.Unlock()
	return register.objects[number]
}

func (register *register) take(number uintptr) any {
	register.mutex.Lock()
	defer register.mutex.Unlock()
	object := register.objects[number]
	delete(register.objects, number)
	return object
}
